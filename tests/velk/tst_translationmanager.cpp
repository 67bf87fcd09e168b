#include "stderrcapture.h"
#include "testfiles.h"

#include <velk/qlog.h>
#include <velk/translationmanager.h>
#include <velk/velk.h>

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QLibraryInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

using velk::translator;

namespace {

const char* const kTs = R"(<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="zh_CN">
<context>
    <name>greeting</name>
    <message>
        <source>Hello</source>
        <translation>你好</translation>
    </message>
    <message>
        <source>Bye</source>
        <translation>再见</translation>
    </message>
</context>
</TS>
)";

QString findLrelease()
{
    const QString qtBin =
        QLibraryInfo::location(QLibraryInfo::BinariesPath) + QStringLiteral("/lrelease");
    if (QFileInfo(qtBin).isExecutable()) {
        return qtBin;
    }
    return QStandardPaths::findExecutable(QStringLiteral("lrelease"));
}

} // namespace

class tst_TranslationManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Diagnostics are checked on standard error, whatever the environment says.
    void initTestCase() { velk::QLog::setConsoleEnabled(true); }
    void cleanup();

    void json_data();
    void json();
    void jsonLaterInstallationOverrides();
    void jsonBadFiles_data();
    void jsonBadFiles();
    void qm();
    void qmMissingOrInvalid();
    void dtrFallsBackToText();

private:
    // Compiles kTs into `dir`; empty when lrelease is not available.
    QString compileQm(const QTemporaryDir& dir);
};

void tst_TranslationManager::cleanup()
{
    translator().clear();
}

QString tst_TranslationManager::compileQm(const QTemporaryDir& dir)
{
    const QString lrelease = findLrelease();
    if (lrelease.isEmpty()) {
        return QString();
    }
    const QString ts = dir.filePath("greeting_cn.ts");
    const QString qm = dir.filePath("greeting_cn.qm");
    if (!writeFile(ts, kTs)) {
        return QString();
    }
    QProcess process;
    process.start(lrelease, {QStringLiteral("-silent"), ts, QStringLiteral("-qm"), qm});
    if (!process.waitForFinished(30000) || process.exitCode() != 0) {
        process.kill();
        return QString();
    }
    return QFileInfo::exists(qm) ? qm : QString();
}

void tst_TranslationManager::json_data()
{
    QTest::addColumn<QString>("installContext");
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<QString>("context");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("expected");

    const QByteArray flat = "\xEF\xBB\xBF{\r\n \"rc/move\": \"移动\",\r\n \"rc/stop\": 3\r\n}";
    QTest::newRow("context given") << "command" << flat << "command"
                                   << "rc/move" << QStringLiteral("移动");
    QTest::newRow("context given, other context") << "command" << flat << "page"
                                                  << "rc/move"
                                                  << "rc/move";
    QTest::newRow("context given, non-string skipped") << "command" << flat << "command"
                                                       << "rc/stop"
                                                       << "rc/stop";

    const QByteArray nested = R"({"command": {"rc/move": "Move"}, "page": {"Home": "Start"},
                                  "stray": "value"})";
    QTest::newRow("contexts in file") << QString() << nested << "page"
                                      << "Home"
                                      << "Start";
    QTest::newRow("contexts in file, second") << QString() << nested << "command"
                                              << "rc/move"
                                              << "Move";
    QTest::newRow("contexts in file, unknown text") << QString() << nested << "page"
                                                    << "Away"
                                                    << "Away";
    QTest::newRow("contexts in file, non-object skipped") << QString() << nested << "stray"
                                                          << "value"
                                                          << "value";
}

void tst_TranslationManager::json()
{
    QFETCH(QString, installContext);
    QFETCH(QByteArray, file);
    QFETCH(QString, context);
    QFETCH(QString, text);
    QFETCH(QString, expected);

    QTemporaryDir dir;
    const QString path = dir.filePath("command_cn.json");
    QVERIFY(writeFile(path, file));
    QVERIFY(translator().installJsonTranslator(installContext, path));
    QCOMPARE(translator().dtr(context, text), expected);
}

void tst_TranslationManager::jsonLaterInstallationOverrides()
{
    QTemporaryDir dir;
    QVERIFY(writeFile(dir.filePath("a.json"), R"({"c": {"one": "1a", "two": "2a"}})"));
    QVERIFY(writeFile(dir.filePath("b.json"), R"({"one": "1b"})"));
    QVERIFY(translator().installJsonTranslator(QString(), dir.filePath("a.json")));
    QVERIFY(translator().installJsonTranslator("c", dir.filePath("b.json")));
    QCOMPARE(translator().dtr("c", "one"), QStringLiteral("1b"));
    QCOMPARE(translator().dtr("c", "two"), QStringLiteral("2a"));

    translator().clear();
    QCOMPARE(translator().dtr("c", "one"), QStringLiteral("one"));
}

void tst_TranslationManager::jsonBadFiles_data()
{
    QTest::addColumn<QByteArray>("file"); // empty: no file at all

    QTest::newRow("missing") << QByteArray();
    QTest::newRow("parse error") << QByteArray(R"({"one": })");
    QTest::newRow("array") << QByteArray(R"(["one"])");
}

void tst_TranslationManager::jsonBadFiles()
{
    QFETCH(QByteArray, file);

    QTemporaryDir dir;
    QVERIFY(writeFile(dir.filePath("good.json"), R"({"one": "eins"})"));
    QVERIFY(translator().installJsonTranslator("c", dir.filePath("good.json")));
    const QString path = dir.filePath("bad.json");
    if (!file.isEmpty()) {
        QVERIFY(writeFile(path, file));
    }

    StderrCapture capture;
    QVERIFY(!translator().installJsonTranslator("c", path));
    // A language without a translation file is ordinary and stays silent; a
    // file that exists but cannot be used is reported with its path.
    QCOMPARE(QString::fromUtf8(capture.take()).contains(path), !file.isEmpty());
    QCOMPARE(translator().dtr("c", "one"), QStringLiteral("eins"));
}

void tst_TranslationManager::qm()
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
    QCOMPARE(translator().dtr("other", "Hello"), QStringLiteral("Hello"));

    // JSON is asked first.
    QVERIFY(writeFile(dir.filePath("over.json"), R"({"Hello": "您好"})"));
    QVERIFY(translator().installJsonTranslator("greeting", dir.filePath("over.json")));
    QCOMPARE(translator().dtr("greeting", "Hello"), QStringLiteral("您好"));
    QCOMPARE(translator().dtr("greeting", "Bye"), QStringLiteral("再见"));

    translator().clear();
    QCOMPARE(translator().dtr("greeting", "Hello"), QStringLiteral("Hello"));
    QCOMPARE(QCoreApplication::translate("greeting", "Bye"), QStringLiteral("Bye"));
}

void tst_TranslationManager::qmMissingOrInvalid()
{
    QTemporaryDir dir;
    QVERIFY(writeFile(dir.filePath("junk.qm"), "not a translation file"));

    StderrCapture capture;
    QVERIFY(!translator().installQMTranslator(dir.filePath("missing.qm")));
    QVERIFY(!translator().installQMTranslator(dir.filePath("junk.qm")));
    QVERIFY(!translator().installQMTranslator(QString()));
    capture.take();
    QCOMPARE(translator().dtr("greeting", "Hello"), QStringLiteral("Hello"));
}

void tst_TranslationManager::dtrFallsBackToText()
{
    QCOMPARE(translator().dtr(QString(), QString()), QString());
    QCOMPARE(translator().dtr("command", "rc/move"), QStringLiteral("rc/move"));
    QCOMPARE(translator().dtr("command", QStringLiteral("移动")), QStringLiteral("移动"));
    QCOMPARE(&translator(), &velk::TranslationManager::instance());
}

QTEST_GUILESS_MAIN(tst_TranslationManager)
#include "tst_translationmanager.moc"
