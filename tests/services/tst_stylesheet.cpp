#include "module/managerhelper.h"
#include "services/stylesheet.h"
#include "theme/thememanager.h"

#include <velk/moduleobject.h>
#include <velk/velk.h>

#include <QComboBox>
#include <QLabel>
#include <QListView>
#include <QPointer>
#include <QScrollArea>
#include <QTabWidget>
#include <QVBoxLayout>
#include <QtTest>

namespace {

const QString kSheet = QStringLiteral("QLabel{color:red;}");

void setZoom(double zoom)
{
    velk::m("zvtheme.size_zoom")->set(nullptr, zoom);
}

} // namespace

class tst_StyleSheet : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(QDir::setCurrent(m_dir.path()));
        helper().registRootQrcAlias("zarvo");
        theme()->init();
    }

    void init() { setZoom(1.0); }

    void layoutZoom_data()
    {
        QTest::addColumn<QList<double>>("zooms");
        QTest::addColumn<int>("margin");
        QTest::addColumn<int>("spacing");
        QTest::newRow("small step ignored") << QList<double>{1.05} << 9 << 6;
        QTest::newRow("1.25") << QList<double>{1.25} << 11 << 7;
        QTest::newRow("twice at one zoom") << QList<double>{1.25, 1.25} << 11 << 7;
        QTest::newRow("steps add up") << QList<double>{1.06, 1.12} << 10 << 6;
        QTest::newRow("back: margins rounded twice, spacing truncated once")
            << QList<double>{1.25, 1.0} << 9 << 5;
    }
    void layoutZoom()
    {
        QFETCH(QList<double>, zooms);
        QFETCH(int, margin);
        QFETCH(int, spacing);
        QWidget page;
        auto* outer = new QVBoxLayout(&page);
        auto* inner = new QVBoxLayout;
        outer->addLayout(inner);
        for (QLayout* l : {static_cast<QLayout*>(outer), static_cast<QLayout*>(inner)}) {
            l->setContentsMargins(9, 9, 9, 9);
            l->setSpacing(6);
        }
        inner->addWidget(new QLabel("x"));
        for (double zoom : qAsConst(zooms)) {
            setZoom(zoom);
            setRecursiveWidgetStyleSheet(&page, kSheet);
        }
        for (QLayout* l : {static_cast<QLayout*>(outer), static_cast<QLayout*>(inner)}) {
            QCOMPARE(l->contentsMargins(), QMargins(margin, margin, margin, margin));
            QCOMPARE(l->spacing(), spacing);
        }
        QCOMPARE(page.styleSheet(), kSheet);
    }

    void walk_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::newRow("exception") << "exception";
        QTest::newRow("scroll area") << "scroll";
        QTest::newRow("tab widget") << "tab";
        QTest::newRow("combo box") << "combo";
        QTest::newRow("leaf") << "leaf";
    }
    void walk()
    {
        QFETCH(QString, kind);
        setZoom(2.0);
        QWidget page;
        auto* layout = new QVBoxLayout(&page);
        // `inner` is a container below the widget under test.
        auto* inner = new QWidget;
        auto* innerLayout = new QVBoxLayout(inner);
        innerLayout->setContentsMargins(5, 5, 5, 5);
        innerLayout->addWidget(new QLabel("x"));
        inner->setStyleSheet("own");
        QWidget* subject = nullptr;
        QList<QWidget*> exceptions;
        QPointer<QAbstractItemView> oldView;
        if (kind == "exception") {
            subject = inner;
            exceptions << inner;
        } else if (kind == "scroll") {
            auto* area = new QScrollArea;
            area->setWidget(inner);
            subject = area;
        } else if (kind == "tab") {
            auto* tabs = new QTabWidget;
            tabs->addTab(inner, "t");
            subject = tabs;
        } else if (kind == "combo") {
            auto* combo = new QComboBox;
            oldView = combo->view();
            subject = combo;
        } else {
            subject = new QLabel("leaf");
        }
        layout->addWidget(subject);
        if (kind == "leaf") {
            setRecursiveWidgetStyleSheet(subject, kSheet);
            QCOMPARE(subject->styleSheet(), QString());
            return;
        }
        setRecursiveWidgetStyleSheet(&page, kSheet, exceptions);
        QCOMPARE(page.styleSheet(), kSheet);
        if (kind == "exception") {
            QCOMPARE(inner->styleSheet(), QString("own"));
            QCOMPARE(innerLayout->contentsMargins().left(), 5);
        } else if (kind == "scroll") {
            QCOMPARE(subject->styleSheet(), QString());
            QCOMPARE(inner->styleSheet(), kSheet);
            QCOMPARE(innerLayout->contentsMargins().left(), 10);
        } else if (kind == "tab") {
            QCOMPARE(subject->styleSheet(), kSheet);
            QCOMPARE(inner->styleSheet(), QString("own"));
            QCOMPARE(innerLayout->contentsMargins().left(), 5);
        } else {
            auto* combo = static_cast<QComboBox*>(subject);
            QVERIFY(oldView.isNull());
            QVERIFY(qobject_cast<QListView*>(combo->view()));
            QCOMPARE(combo->styleSheet(), QString());
        }
    }

    void clear()
    {
        QWidget page;
        auto* layout = new QVBoxLayout(&page);
        QPointer<QLabel> direct = new QLabel("a");
        layout->addWidget(direct);
        auto* nested = new QHBoxLayout;
        QPointer<QLabel> arranged = new QLabel("b");
        nested->addWidget(arranged);
        layout->addLayout(nested);
        layout->addStretch();
        clearWgtContent(&page);
        QCOMPARE(layout->count(), 0);
        QVERIFY(direct.isNull());
        QVERIFY(!arranged.isNull());
        QCOMPARE(arranged->parentWidget(), &page);
        clearWgtContent(nullptr);
    }
};

QTEST_MAIN(tst_StyleSheet)

#include "tst_stylesheet.moc"
