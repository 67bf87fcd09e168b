#include "host/hostoptions.h"

#include <QtTest>

using hmi::HostOptions;

class TestHostOptions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void parse_data();
    void parse();
    void defaultPluginIsNextToTheProgram();
    void helpDocumentsEveryExitCode();
};

void TestHostOptions::parse_data()
{
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<QString>("env");
    QTest::addColumn<int>("result");
    QTest::addColumn<bool>("headless");
    QTest::addColumn<QString>("plugin");
    QTest::addColumn<QString>("workdir");
    QTest::addColumn<QString>("errorPart");

    const QString none;
    QTest::newRow("nothing") << QStringList{} << none << int(HostOptions::Run) << false << none
                             << none << none;
    QTest::newRow("headless") << QStringList{"--headless"} << none << int(HostOptions::Run) << true
                              << none << none << none;
    QTest::newRow("single dash long") << QStringList{"-headless"} << none << int(HostOptions::Run)
                                      << true << none << none << none;
    QTest::newRow("relative plugin")
        << QStringList{"--plugin", "p/../lib.so"} << none << int(HostOptions::Run) << false
        << "/base/lib.so" << none << none;
    QTest::newRow("plugin with =") << QStringList{"--plugin=/abs/x.so"} << none
                                   << int(HostOptions::Run) << false << "/abs/x.so" << none << none;
    QTest::newRow("env plugin") << QStringList{} << "env.so" << int(HostOptions::Run) << false
                                << "/base/env.so" << none << none;
    QTest::newRow("option beats env")
        << QStringList{"--plugin", "/opt.so"} << "/env.so" << int(HostOptions::Run) << false
        << "/opt.so" << none << none;
    QTest::newRow("workdir") << QStringList{"--workdir", "run", "--headless"} << none
                             << int(HostOptions::Run) << true << none << "/base/run" << none;
    QTest::newRow("help") << QStringList{"--headless", "-h"} << none << int(HostOptions::ShowHelp)
                          << false << none << none << none;
    QTest::newRow("version") << QStringList{"--version"} << none << int(HostOptions::ShowVersion)
                             << false << none << none << none;
    QTest::newRow("unknown option")
        << QStringList{"--bogus"} << none << int(HostOptions::UsageError) << false << none << none
        << "bogus";
    QTest::newRow("missing value")
        << QStringList{"--plugin"} << none << int(HostOptions::UsageError) << false << none << none
        << "plugin";
    QTest::newRow("empty value") << QStringList{"--workdir="} << none
                                 << int(HostOptions::UsageError) << false << none << none
                                 << "workdir";
    QTest::newRow("stray argument")
        << QStringList{"--headless", "extra"} << none << int(HostOptions::UsageError) << false
        << none << none << "extra";
}

void TestHostOptions::parse()
{
    QFETCH(QStringList, args);
    QFETCH(QString, env);
    QFETCH(int, result);
    QFETCH(bool, headless);
    QFETCH(QString, plugin);
    QFETCH(QString, workdir);
    QFETCH(QString, errorPart);

    HostOptions options;
    args.prepend(QStringLiteral("zarvo-hmi"));
    QCOMPARE(int(options.parse(args, env, QStringLiteral("/base"))), result);
    if (result == HostOptions::UsageError) {
        QVERIFY2(options.errorText().contains(errorPart), qPrintable(options.errorText()));
        return;
    }
    if (result != HostOptions::Run) {
        return;
    }
    QCOMPARE(options.headless(), headless);
    QCOMPARE(options.pluginFile(), plugin);
    QCOMPARE(options.workDir(), workdir);
    QVERIFY(options.errorText().isEmpty());
}

void TestHostOptions::defaultPluginIsNextToTheProgram()
{
    HostOptions options;
    QCOMPARE(options.parse({QStringLiteral("zarvo-hmi")}, QString(), QStringLiteral("/base")),
             HostOptions::Run);
    QCOMPARE(options.resolvedPluginFile(QStringLiteral("/opt/zarvo/bin")),
             QStringLiteral("/opt/zarvo/lib/libzarvo.so"));
    QCOMPARE(options.parse({QStringLiteral("zarvo-hmi"), QStringLiteral("--plugin=/x.so")},
                           QString(), QStringLiteral("/base")),
             HostOptions::Run);
    QCOMPARE(options.resolvedPluginFile(QStringLiteral("/opt/zarvo/bin")), QStringLiteral("/x.so"));
}

void TestHostOptions::helpDocumentsEveryExitCode()
{
    const QString help = HostOptions::helpText();
    for (int code = 0; code <= 7; ++code) {
        QVERIFY2(help.contains(QStringLiteral("\n  %1  ").arg(code)),
                 qPrintable(QString::number(code)));
    }
    for (const char* word :
         {"--headless", "--plugin", "--workdir", "ZARVO_PLUGIN", "wait <ms>", "quit"}) {
        QVERIFY2(help.contains(QLatin1String(word)), word);
    }
}

QTEST_GUILESS_MAIN(TestHostOptions)
#include "tst_hostoptions.moc"
