#include "host/moduleloader.h"

#include <QtTest>

using hmi::ModuleLoader;

class TestModuleLoader : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void order_data();
    void order();
};

void TestModuleLoader::order_data()
{
    QTest::addColumn<QStringList>("inFolder");
    QTest::addColumn<QStringList>("extra"); // relative to the folder
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("folder by name, then the command line")
        << QStringList{"libb.so", "liba.so", "notes.txt", "libc.so.1"}
        << QStringList{"../other/libz.so"} << QStringList{"liba.so", "libb.so", "../other/libz.so"};
    QTest::newRow("named twice or also in the folder: first place wins")
        << QStringList{"liba.so"}
        << QStringList{"../other/libz.so", "liba.so", "../other/./libz.so"}
        << QStringList{"liba.so", "../other/libz.so"};
    QTest::newRow("the core plug-in is never a further module")
        << QStringList{"libzarvo.so", "libpages.so"} << QStringList{"libzarvo.so"}
        << QStringList{"libpages.so"};
    QTest::newRow("empty folder, missing file kept for its report")
        << QStringList{} << QStringList{"../missing/libx.so"} << QStringList{"../missing/libx.so"};
}

void TestModuleLoader::order()
{
    QFETCH(QStringList, inFolder);
    QFETCH(QStringList, extra);
    QFETCH(QStringList, expected);

    QTemporaryDir root;
    QVERIFY(root.isValid());
    QDir dir(root.path());
    QVERIFY(dir.mkpath(QStringLiteral("modules")) && dir.mkpath(QStringLiteral("other")));
    QVERIFY(dir.cd(QStringLiteral("modules")));
    for (const QString& name : inFolder + QStringList{"../other/libz.so"}) {
        QFile file(dir.filePath(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
    }
    QStringList absoluteExtra;
    for (const QString& file : qAsConst(extra)) {
        absoluteExtra << dir.filePath(file);
    }
    QStringList got = ModuleLoader::moduleFiles(dir.path(), absoluteExtra,
                                                dir.filePath(QStringLiteral("libzarvo.so")));
    for (QString& file : got) {
        file = dir.relativeFilePath(file);
    }
    QCOMPARE(got, expected);
}

QTEST_GUILESS_MAIN(TestModuleLoader)
#include "tst_moduleloader.moc"
