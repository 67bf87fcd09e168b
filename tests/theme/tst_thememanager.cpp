#include "module/managerhelper.h"
#include "services/paths.h"
#include "services/stylesheet.h"
#include "settings/settingmanager.h"
#include "testfiles.h"
#include "theme/thememanager.h"

#include <velk/jsonfile.h>
#include <velk/moduleobject.h>
#include <velk/velk.h>

#include <QApplication>
#include <QHBoxLayout>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLabel>
#include <QtTest>

namespace {

const QString kIndex = QStringLiteral("./config/zvtheme.json");

void setZoom(double size, double font = 1.0)
{
    velk::m("zvtheme.size_zoom")->set(nullptr, size);
    velk::m("zvtheme.font_zoom")->set(nullptr, font);
}

QByteArray json(const QJsonValue& value)
{
    return value.isArray() ? QJsonDocument(value.toArray()).toJson()
                           : QJsonDocument(value.toObject()).toJson();
}

QJsonObject themeFile(const QJsonObject& sections)
{
    QJsonObject theme;
    for (const char* s : {"icon", "icon_size", "size", "color", "font", "image", "border"}) {
        theme.insert(s, sections.value(s).toObject());
    }
    return theme;
}

} // namespace

class tst_ThemeManager : public QObject
{
    Q_OBJECT

    QTemporaryDir m_root;
    QScopedPointer<QTemporaryDir> m_dir;

    // A working directory whose index names the theme "mine" as current and
    // a theme called "default" as the default one, both files on disk.
    void useThemes(const QJsonObject& mine, const QJsonObject& def)
    {
        QVERIFY(writeFile("mine.json", json(themeFile(mine))));
        QVERIFY(writeFile("def.json", json(themeFile(def))));
        const QJsonObject index{
            {"current", "mine"},
            {"size_zoom", 1.0},
            {"font_zoom", 1.0},
            {"themes",
             QJsonObject{
                 {"mine", QJsonObject{{"path", QDir::current().filePath("mine.json")}}},
                 {"default", QJsonObject{{"path", QDir::current().filePath("def.json")}}}}}};
        QVERIFY(writeFile(kIndex, json(index)));
        theme()->init();
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(QDir::setCurrent(m_root.path()));
        helper().registRootQrcAlias("zarvo");
    }

    void init()
    {
        m_dir.reset(new QTemporaryDir);
        QVERIFY(QDir::setCurrent(m_dir->path()));
        setting()->set("language", "cn");
        theme()->init();
    }

    void lookupOrder_data()
    {
        QTest::addColumn<QString>("value");
        QTest::addColumn<QString>("expected");
        QTest::newRow("current first") << "$color$both"
                                       << "#111111";
        QTest::newRow("then default") << "$color$only_default"
                                      << "#222222";
        QTest::newRow("image fallback") << "$image$widget/chb_checked"
                                        << "url(\":/zarvo/images/widget/chb_checked.png\")";
        QTest::newRow("icon fallback, last slash") << "$icon$body/x/back"
                                                   << ":/zarvo/images/body/back.png";
        QTest::newRow("nowhere") << "$color$nowhere"
                                 << "";
    }
    void lookupOrder()
    {
        QFETCH(QString, value);
        QFETCH(QString, expected);
        useThemes(
            QJsonObject{{"color", QJsonObject{{"both", "#111111"}}}},
            QJsonObject{{"color", QJsonObject{{"both", "#999999"}, {"only_default", "#222222"}}}});
        QCOMPARE(theme()->buildStyleFromStr(value), expected);
    }

    void zoomPx_data()
    {
        QTest::addColumn<double>("zoom");
        QTest::addColumn<QString>("value");
        QTest::addColumn<QString>("expected");
        QTest::newRow("words after px stay") << 1.5 << "1px solid #e3e6e8"
                                             << "2px solid #e3e6e8";
        QTest::newRow("bare number before px") << 2.0 << "1 2px"
                                               << "2 4px";
        QTest::newRow("fraction becomes integer") << 1.0 << "1.5px"
                                                  << "2px";
        QTest::newRow("negative half rounds up") << 1.0 << "-2.5px"
                                                 << "-2px";
        QTest::newRow("no px") << 3.0 << "none"
                               << "none";
        QTest::newRow("overflow left alone") << 10.0 << "1e300px"
                                             << "1e300px";
    }
    void zoomPx()
    {
        QFETCH(double, zoom);
        QFETCH(QString, value);
        QFETCH(QString, expected);
        setZoom(zoom);
        QCOMPARE(theme()->zoomPx(value), expected);
        QCOMPARE(theme()->buildStyleFromStr(value), expected);
    }

    void zoomStyle_data()
    {
        QTest::addColumn<QString>("section");
        QTest::addColumn<QString>("entry");
        QTest::addColumn<QString>("value");
        QTest::addColumn<double>("fontZoom");
        QTest::addColumn<QString>("expected");
        const QString f = " \"Microsoft YaHei UI\"";
        QTest::newRow("size") << "size"
                              << "w"
                              << "200px" << 1.0 << "300px";
        QTest::newRow("fix entry") << "size"
                                   << "wfix"
                                   << "200px" << 1.0 << "200px";
        QTest::newRow("font general format") << "font"
                                             << "d"
                                             << "9pt" + f << 1.25 << "11.25pt" + f;
        QTest::newRow("bold font") << "font"
                                   << "d"
                                   << "75 9pt" + f << 2.0 << "75 18pt" + f;
        QTest::newRow("font zoom 0.1 accepted") << "font"
                                                << "d"
                                                << "9pt" + f << 0.1 << "0.9pt" + f;
        QTest::newRow("font zoom 10 accepted") << "font"
                                               << "d"
                                               << "9pt" + f << 10.0 << "90pt" + f;
        QTest::newRow("font zoom below bound") << "font"
                                               << "d"
                                               << "9pt" + f << 0.05 << "9pt" + f;
        QTest::newRow("font zoom above bound") << "font"
                                               << "d"
                                               << "9pt" + f << 20.0 << "9pt" + f;
    }
    void zoomStyle()
    {
        QFETCH(QString, section);
        QFETCH(QString, entry);
        QFETCH(QString, value);
        QFETCH(double, fontZoom);
        QFETCH(QString, expected);
        setZoom(1.5, fontZoom);
        QCOMPARE(theme()->zoomStyle(section, entry, value), expected);
    }

    void typedAccessors_data()
    {
        QTest::addColumn<double>("sizeZoom");
        QTest::addColumn<double>("fontZoom");
        QTest::addColumn<QString>("font");
        QTest::addColumn<int>("points");
        QTest::addColumn<bool>("bold");
        QTest::addColumn<int>("sizeByName");
        QTest::addColumn<int>("sizeByInt");
        QTest::newRow("shipped h2, half up") << 1.0 << 1.0 << "h2" << 14 << false << 15 << 15;
        QTest::newRow("shipped h3, quarter down") << 1.0 << 1.0 << "h3" << 11 << false << 15 << 15;
        QTest::newRow("zoomed, rounded vs truncated")
            << 1.5 << 1.5 << "default" << 14 << false << 23 << 22;
        QTest::newRow("bold") << 1.0 << 2.0 << "bold" << 18 << true << 15 << 15;
        QTest::newRow("negative, halves up") << 0.5 << 1.0 << "default" << 9 << false << -2 << -7;
    }
    void typedAccessors()
    {
        QFETCH(double, sizeZoom);
        QFETCH(double, fontZoom);
        QFETCH(QString, font);
        QFETCH(int, points);
        QFETCH(bool, bold);
        QFETCH(int, sizeByName);
        QFETCH(int, sizeByInt);
        const bool negative = sizeZoom < 1.0;
        QJsonObject mine =
            QJsonObject{{"font", QJsonObject{{"default", "9pt \"Microsoft YaHei UI\""},
                                             {"h2", "13.5pt \"Microsoft YaHei UI\""},
                                             {"h3", "11.25pt \"Microsoft YaHei UI\""},
                                             {"bold", "75 9pt \"Fam\""}}},
                        {"size", QJsonObject{{"s", negative ? "-5px" : "15px"}}}};
        useThemes(mine, QJsonObject());
        setZoom(sizeZoom, fontZoom);
        const QFont f = theme()->getFont(font);
        QCOMPARE(f.pointSize(), points);
        QCOMPARE(f.weight(), bold ? 75 : QFont().weight());
        QCOMPARE(f.family(), QString(bold ? "Fam" : "Microsoft YaHei UI"));
        QVERIFY(!f.italic());
        QCOMPARE(theme()->getSize("s"), sizeByName);
        QCOMPARE(theme()->getSize(negative ? -15 : 15), sizeByInt);
    }

    void colours_data()
    {
        QTest::addColumn<QString>("value");
        QTest::addColumn<QColor>("expected");
        QTest::newRow("six digits") << "#e11c52" << QColor(225, 28, 82);
        QTest::newRow("eight digits: blue from the end") << "#11223344" << QColor(0x11, 0x22, 0x44);
        QTest::newRow("three digits") << "#fff" << QColor();
        QTest::newRow("not hex") << "#zz0000" << QColor();
    }
    void colours()
    {
        QFETCH(QString, value);
        QFETCH(QColor, expected);
        useThemes(QJsonObject{{"color", QJsonObject{{"c", value}}}}, QJsonObject());
        const QColor c = theme()->getColor("c");
        QCOMPARE(c.isValid(), expected.isValid());
        if (expected.isValid()) {
            QCOMPARE(c, expected);
        }
    }

    void iconSizes_data()
    {
        QTest::addColumn<QString>("entry");
        QTest::addColumn<double>("zoom");
        QTest::addColumn<QSize>("expected");
        QTest::newRow("shipped small") << "btn_small" << 1.25 << QSize(20, 20);
        QTest::newRow("from the default theme") << "wide" << 1.5 << QSize(72, 36);
        QTest::newRow("unknown: 32x32") << "none" << 1.0 << QSize(32, 32);
        QTest::newRow("unknown zoomed") << "none" << 1.25 << QSize(40, 40);
        QTest::newRow("fix ignores zoom") << "btn_fix" << 2.0 << QSize(16, 24);
        QTest::newRow("zero falls through") << "zero" << 1.0 << QSize(48, 48);
    }
    void iconSizes()
    {
        QFETCH(QString, entry);
        QFETCH(double, zoom);
        QFETCH(QSize, expected);
        useThemes(
            QJsonObject{{"icon_size",
                         QJsonObject{{"btn_small", 1600016}, {"btn_fix", 1600024}, {"zero", 0}}}},
            QJsonObject{{"icon_size", QJsonObject{{"wide", 4800024}, {"zero", 4800048}}}});
        setZoom(zoom);
        QCOMPARE(theme()->getIconSize(entry), expected);
    }

    void themeOrder_data()
    {
        QTest::addColumn<QJsonObject>("themes");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("by index, not by key")
            << QJsonObject{{"a", QJsonObject{{"index", 1}}}, {"b", QJsonObject{{"index", 0}}}}
            << QStringList{"b", "a"};
        QTest::newRow("equal: later first")
            << QJsonObject{{"x", QJsonObject{{"index", 0}}}, {"y", QJsonObject{{"index", 0}}}}
            << QStringList{"y", "x"};
        QTest::newRow("beyond the end appends, missing is 0")
            << QJsonObject{{"a", QJsonObject{{"index", 7}}}, {"b", QJsonObject()}}
            << QStringList{"b", "a"};
    }
    void themeOrder()
    {
        QFETCH(QJsonObject, themes);
        QFETCH(QStringList, expected);
        QVERIFY(writeFile(kIndex, json(QJsonObject{{"themes", themes}})));
        theme()->init();
        QCOMPARE(theme()->getThemeNames(), expected);
    }

    void labels_data()
    {
        QTest::addColumn<QString>("language");
        QTest::addColumn<QString>("expected");
        QTest::newRow("cn") << "cn"
                            << "深色风格";
        QTest::newRow("en") << "en"
                            << "Dark";
        QTest::newRow("other") << "de"
                               << "";
    }
    void labels()
    {
        QFETCH(QString, language);
        QFETCH(QString, expected);
        setting()->set("language", language);
        QCOMPARE(theme()->getThemeLabel("zvtheme_dark"), expected);
        QCOMPARE(theme()->getThemeNames(), QStringList({"zvtheme_default", "zvtheme_dark"}));
    }

    void switching()
    {
        QSignalSpy changed(theme(), &ThemeManager::themeChanged);
        theme()->setCurrentTheme("zvtheme_nope");
        QCOMPARE(changed.count(), 0);
        QCOMPARE(theme()->curThemeName(), QString("zvtheme_default"));

        // A rendered widget follows the switch once the sheet is applied again.
        QWidget page;
        auto* layout = new QHBoxLayout(&page);
        auto* label = new QLabel("x");
        layout->addWidget(label);
        const QJsonObject rule{{"name", "QLabel"},
                               {"color", "$color$topic"},
                               {"background-color", "$color$center_bkg"}};
        auto restyle = [&] {
            setRecursiveWidgetStyleSheet(&page, theme()->buildStyleFromJson(rule));
            QCoreApplication::processEvents();
            label->ensurePolished();
        };
        restyle();
        QCOMPARE(label->palette().color(QPalette::WindowText), QColor("#e11c52"));
        theme()->setCurrentTheme("zvtheme_dark");
        QCOMPARE(changed.count(), 1);
        restyle();
        QCOMPARE(label->palette().color(QPalette::WindowText), QColor("#ff4d7a"));
        QCOMPARE(label->palette().color(QPalette::Window), QColor("#1e1f22"));

        // What no sheet reaches draws with the theme's palette, and switching
        // back gives the operator the platform's look again.
        const QPalette platform = QApplication::palette();
        theme()->render();
        QCOMPARE(QApplication::palette().color(QPalette::Window), QColor("#26282b"));
        QCOMPARE(QApplication::palette().color(QPalette::Base), QColor("#1e1f22"));
        QVERIFY(QApplication::palette().color(QPalette::Dark) != platform.color(QPalette::Dark));
        theme()->setCurrentTheme("zvtheme_default");
        theme()->render();
        for (auto group : {QPalette::Active, QPalette::Disabled}) {
            for (int role = 0; role < QPalette::NColorRoles; ++role) {
                const auto r = QPalette::ColorRole(role);
                QCOMPARE(QApplication::palette().color(group, r), platform.color(group, r));
            }
        }
        theme()->setCurrentTheme("zvtheme_dark");

        // The dark theme defines everything the default theme does.
        const QJsonObject def =
            velk::JsonFile::read(":/zarvo/render/zvtheme/zvtheme_default.json").toObject();
        for (auto section = def.begin(); section != def.end(); ++section) {
            const QJsonObject entries = section.value().toObject();
            for (auto entry = entries.begin(); entry != entries.end(); ++entry) {
                QVERIFY2(!theme()->buildStyleFromStr("$" + section.key() + "$" + entry.key())
                                 .isEmpty() ||
                             section.key() == "icon_size",
                         qPrintable(section.key() + "/" + entry.key()));
            }
        }
    }

    void zoomFactors()
    {
        QSignalSpy changed(theme(), &ThemeManager::themeChanged);
        velk::m("zvtheme.size_zoom")->set(nullptr, 1.5);
        QCOMPARE(theme()->sizeZoom(), 1.5);
        velk::m("zvtheme.font_zoom")->set(nullptr, 2);
        QCOMPARE(changed.count(), 2);
        QCOMPARE(theme()->fontZoom(), 2.0);

        // A word is refused and the factor in force stays, also in the index.
        velk::m("zvtheme.size_zoom")->set(nullptr, "big");
        QCOMPARE(changed.count(), 2);
        QCOMPARE(theme()->sizeZoom(), 1.5);
        QCOMPARE(velk::m("zvtheme.size_zoom")->getDouble(), 1.5);
    }

    void indexFile()
    {
        // A fresh directory gets the shipped index; it is written back only at detach.
        QCOMPARE(velk::JsonFile::read(kIndex),
                 velk::JsonFile::read(":/zarvo/render/zvtheme/zvtheme.json"));
        setZoom(1.75);
        theme()->setCurrentTheme("zvtheme_dark");
        QCOMPARE(velk::JsonFile::read(kIndex).toObject().value("size_zoom").toDouble(), 1.0);
        theme()->detach();
        QVERIFY(readFile(kIndex).startsWith("\xEF\xBB\xBF"));
        setZoom(1.0);
        theme()->init();
        QCOMPARE(theme()->sizeZoom(), 1.75);
        QCOMPARE(theme()->curThemeName(), QString("zvtheme_dark"));

        // A broken index is kept aside, never written over.
        QVERIFY(writeFile(kIndex, "{\"current\": "));
        theme()->init();
        const QStringList kept = QDir("config").entryList({"zvtheme.json.bad-*"});
        QCOMPARE(kept.size(), 1);
        QCOMPARE(readFile("config/" + kept.first()), QByteArray("{\"current\": "));
        QCOMPARE(theme()->sizeZoom(), 1.0);
        QCOMPARE(theme()->curThemeName(), QString("zvtheme_default"));
    }

    void themeFileOnDisk()
    {
        // An author's copy below the alias wins over the compiled-in file and
        // a reload shows the next edit.
        const QString copy = "zarvo/render/zvtheme/zvtheme_default.json";
        QJsonObject file =
            velk::JsonFile::read(":/zarvo/render/zvtheme/zvtheme_default.json").toObject();
        QJsonObject colours = file.value("color").toObject();
        colours.insert("topic", "#010203");
        file.insert("color", colours);
        QVERIFY(writeFile(copy, json(file)));
        theme()->init();
        QCOMPARE(theme()->getColor("topic"), QColor(1, 2, 3));

        QSignalSpy changed(theme(), &ThemeManager::themeChanged);
        colours.insert("topic", "#040506");
        file.insert("color", colours);
        QVERIFY(writeFile(copy, json(file)));
        QVERIFY(theme()->reloadTheme());
        QCOMPARE(changed.count(), 1);
        QCOMPARE(theme()->getColor("topic"), QColor(4, 5, 6));

        // A broken edit leaves the fallbacks, never a crash or a rewrite.
        QVERIFY(writeFile(copy, "{\"color\": {"));
        QVERIFY(theme()->reloadTheme());
        QVERIFY(!theme()->getColor("topic").isValid());
        QCOMPARE(readFile(copy), QByteArray("{\"color\": {"));
    }

    void genStyleSheet_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QString>("expected");
        QTest::newRow("rule") << QByteArray(R"([{"name":"QLabel","min-height":"36px"}])")
                              << "QLabel{min-height:72px;}";
        QTest::newRow("no selector")
            << QByteArray(R"([{"min-height":"36px"}])") << "min-height:72px;";
        QTest::newRow("keys sorted, rules joined")
            << QByteArray(R"([{"name":"A","b":"1px","a":"2"},{"name":"B","c":"$font$h1"}])")
            << "A{a:2;b:2px;}B{c:18pt \"Microsoft YaHei UI\";}";
        QTest::newRow("empty value dropped")
            << QByteArray(R"([{"name":"QLabel","x":"$color$no"}])") << "QLabel{}";
        QTest::newRow("not json") << QByteArray("[{\"name\":") << "";
    }
    void genStyleSheet()
    {
        QFETCH(QByteArray, file);
        QFETCH(QString, expected);
        setZoom(2.0);
        QVERIFY(writeFile("r.json", file));
        QCOMPARE(theme()->genStyleSheet("r.json"), expected);
        QCOMPARE(theme()->genStyleSheet("missing.json"), QString());
    }

    void shippedRenderFiles_data()
    {
        QTest::addColumn<QString>("group");
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("rules");
        QTest::newRow("setting page") << "robot"
                                      << "setting_page" << 39;
        QTest::newRow("side tree") << "body"
                                   << "sidetree" << 1;
        QTest::newRow("nav tree") << "body"
                                  << "navtree" << 6;
    }
    void shippedRenderFiles()
    {
        QFETCH(QString, group);
        QFETCH(QString, name);
        QFETCH(int, rules);
        setZoom(2.0);
        const QString path = getRenderPath(group, name);
        QVERIFY(readFile(path).startsWith("\xEF\xBB\xBF"));
        QVERIFY(!readFile(path).contains("}\n"));
        const QString sheet = theme()->genStyleSheet(path);
        QCOMPARE(sheet.count('}'), rules);
        QVERIFY2(!sheet.contains('$'), qPrintable(sheet));
        // Every image a sheet names exists, with its sharp twin for zoom 2.
        QRegularExpression url("url\\(\"([^\"]+)\\.png\"\\)");
        for (auto it = url.globalMatch(sheet); it.hasNext();) {
            const QString stem = it.next().captured(1);
            QVERIFY2(QFileInfo::exists(stem + ".png") && QFileInfo::exists(stem + "@2x.png"),
                     qPrintable(stem));
            QCOMPARE(QImage(stem + "@2x.png").size(), QImage(stem + ".png").size() * 2);
        }
        if (name == "setting_page") {
            // The odd values are kept as they are, zoomed like any other length.
            QVERIFY(sheet.contains("border-left-style:-2px;"));
            QVERIFY(sheet.contains("min-height:100;"));
            QVERIFY(sheet.contains("padding:0 32 0 32px;"));
        }
    }
};

QTEST_MAIN(tst_ThemeManager)

#include "tst_thememanager.moc"
