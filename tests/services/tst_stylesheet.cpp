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

    // One page with every kind of child the walk treats apart; each container
    // below has its own layout (margin 5) and sheet ("own").
    void walk()
    {
        setZoom(2.0);
        QWidget page;
        auto* layout = new QVBoxLayout(&page);
        QList<QWidget*> inner;
        QList<QLayout*> innerLayouts;
        for (int i = 0; i < 3; ++i) {
            inner << new QWidget;
            innerLayouts << new QVBoxLayout(inner.last());
            innerLayouts.last()->setContentsMargins(5, 5, 5, 5);
            innerLayouts.last()->addWidget(new QLabel("x"));
            inner.last()->setStyleSheet("own");
        }
        auto* area = new QScrollArea;
        area->setWidget(inner[1]);
        auto* tabs = new QTabWidget;
        tabs->addTab(inner[2], "t");
        auto* combo = new QComboBox;
        QPointer<QAbstractItemView> oldView = combo->view();
        auto* leaf = new QLabel("leaf");
        for (QWidget* w : {inner[0], static_cast<QWidget*>(area), static_cast<QWidget*>(tabs),
                           static_cast<QWidget*>(combo), static_cast<QWidget*>(leaf)}) {
            layout->addWidget(w);
        }
        setRecursiveWidgetStyleSheet(&page, kSheet, {inner[0]});
        QCOMPARE(page.styleSheet(), kSheet);
        // An exception keeps its sheet and its margins.
        QCOMPARE(inner[0]->styleSheet(), QString("own"));
        QCOMPARE(innerLayouts[0]->contentsMargins().left(), 5);
        // A scroll area passes the sheet to its content, which is zoomed.
        QCOMPARE(area->styleSheet(), QString());
        QCOMPARE(inner[1]->styleSheet(), kSheet);
        QCOMPARE(innerLayouts[1]->contentsMargins().left(), 10);
        // A tab widget takes the sheet itself and keeps its pages as they are.
        QCOMPARE(tabs->styleSheet(), kSheet);
        QCOMPARE(inner[2]->styleSheet(), QString("own"));
        QCOMPARE(innerLayouts[2]->contentsMargins().left(), 5);
        // A combo box gets a list view its item rules reach, the old one freed.
        QVERIFY(oldView.isNull() && qobject_cast<QListView*>(combo->view()));
        QCOMPARE(combo->styleSheet(), QString());
        QCOMPARE(leaf->styleSheet(), QString());
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
