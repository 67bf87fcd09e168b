#include "stderrcapture.h"
#include "testfiles.h"

#include <velk/qlog.h>
#include <velk/translationmanager.h>
#include <velk/velk.h>

#include <QtTest>

using velk::translator;

class tst_TranslationManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Diagnostics are checked on standard error, whatever the environment says.
    void initTestCase() { velk::QLog::setConsoleEnabled(true); }
    void cleanup() { translator().clear(); }

    void json_data()
    {
        QTest::addColumn<QString>("installContext"); // null: contexts in the file
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QString>("context");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        const QByteArray flat = "\xEF\xBB\xBF{\r\n \"rc/move\": \"移动\",\r\n \"rc/stop\": 3\r\n}";
        const QByteArray nested = R"({"command": {"rc/move": "Move"}, "stray": "value"})";
        // clang-format off
        QTest::newRow("context given") << "command" << flat << "command" << "rc/move" << "移动";
        QTest::newRow("other context falls back") << "command" << flat << "page" << "rc/move" << "rc/move";
        QTest::newRow("non-string skipped") << "command" << flat << "command" << "rc/stop" << "rc/stop";
        QTest::newRow("contexts in file") << QString() << nested << "command" << "rc/move" << "Move";
        QTest::newRow("non-object skipped") << QString() << nested << "stray" << "value" << "value";
        // clang-format on
    }

    void json()
    {
        QFETCH(QString, installContext);
        QFETCH(QByteArray, file);
        QFETCH(QString, context);
        QFETCH(QString, text);
        QFETCH(QString, expected);
        QTemporaryDir dir;
        const QString path = dir.filePath("command_cn.json");
        QVERIFY(writeFile(path, file) && translator().installJsonTranslator(installContext, path));
        QCOMPARE(translator().dtr(context, text), expected);
    }

    void badFilesKeepWhatIsInstalled_data()
    {
        QTest::addColumn<QByteArray>("file"); // null: no file at all
        QTest::newRow("missing") << QByteArray();
        QTest::newRow("parse error") << QByteArray(R"({"one": })");
        QTest::newRow("array") << QByteArray(R"(["one"])");
    }

    void badFilesKeepWhatIsInstalled()
    {
        QFETCH(QByteArray, file);
        QTemporaryDir dir;
        const QString path = dir.filePath("bad.json");
        QVERIFY(writeFile(dir.filePath("good.json"), R"({"one": "eins"})") &&
                translator().installJsonTranslator("c", dir.filePath("good.json")));
        QVERIFY(file.isNull() || writeFile(path, file));
        StderrCapture capture;
        QVERIFY(!translator().installJsonTranslator("c", path));
        QVERIFY(!translator().installQMTranslator(path));
        // A language without a translation file is ordinary and stays silent; a
        // file that exists but cannot be used is reported with its path.
        QCOMPARE(QString::fromUtf8(capture.take()).contains(path), !file.isNull());
        QCOMPARE(translator().dtr("c", "one"), QStringLiteral("eins"));
    }
};

QTEST_GUILESS_MAIN(tst_TranslationManager)
#include "tst_translationmanager.moc"
