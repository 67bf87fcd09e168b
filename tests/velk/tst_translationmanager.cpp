#include "stderrcapture.h"
#include "testfiles.h"

#include <velk/qlog.h>
#include <velk/translationmanager.h>
#include <velk/velk.h>

#include <QtTest>

using velk::translator;

namespace {

const char kTs[] = R"(<?xml version="1.0" encoding="utf-8"?><!DOCTYPE TS>
<TS version="2.1" language="zh_CN"><context><name>greeting</name>
<message><source>Hello</source><translation>你好</translation></message>
<message><source>Bye</source><translation>再见</translation></message></context></TS>)";

// Compiles kTs into `dir`, so that no binary translation sits in the tree;
// empty when lrelease is not available.
QString compileQm(const QTemporaryDir& dir)
{
    QString lrelease = QStandardPaths::findExecutable(
        "lrelease", {QLibraryInfo::location(QLibraryInfo::BinariesPath)});
    lrelease = lrelease.isEmpty() ? QStandardPaths::findExecutable("lrelease") : lrelease;
    const QString qm = dir.filePath("greeting_cn.qm");
    QProcess process;
    if (!lrelease.isEmpty() && writeFile(dir.filePath("greeting_cn.ts"), kTs)) {
        process.start(lrelease, {"-silent", dir.filePath("greeting_cn.ts"), "-qm", qm});
        process.waitForFinished(30000);
    }
    return QFileInfo::exists(qm) ? qm : QString();
}

} // namespace

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

    void qm()
    {
        QTemporaryDir dir;
        const QString qm = compileQm(dir);
        if (qm.isEmpty()) {
            QSKIP("lrelease is not available to compile a .qm file");
        }
        QVERIFY(translator().installQMTranslator(qm));
        QCOMPARE(translator().dtr("greeting", "Hello"), QStringLiteral("你好"));
        // Installed into the application: plain tr() lookups see it too.
        QCOMPARE(QCoreApplication::translate("greeting", "Bye"), QStringLiteral("再见"));
        // JSON is asked first.
        QVERIFY(writeFile(dir.filePath("over.json"), R"({"Hello": "您好"})") &&
                translator().installJsonTranslator("greeting", dir.filePath("over.json")));
        QCOMPARE(translator().dtr("greeting", "Hello"), QStringLiteral("您好"));
        QCOMPARE(translator().dtr("greeting", "Bye"), QStringLiteral("再见"));
        translator().clear();
        QCOMPARE(QCoreApplication::translate("greeting", "Bye"), QStringLiteral("Bye"));
    }
};

QTEST_GUILESS_MAIN(tst_TranslationManager)
#include "tst_translationmanager.moc"
