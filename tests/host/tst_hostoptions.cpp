#include "host/hostoptions.h"

#include <QtTest>

using hmi::HostOptions;

class TestHostOptions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void parse_data();
    void parse();
};

void TestHostOptions::parse_data()
{
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<QString>("env");
    QTest::addColumn<int>("result");
    QTest::addColumn<bool>("headless");
    QTest::addColumn<QString>("plugin"); // resolved for a program in /opt/zarvo/bin
    QTest::addColumn<QString>("workdir");
    QTest::addColumn<QString>("errorPart");

    const auto runs = [](const char* row, const QStringList& args, const QString& env,
                         bool headless, const QString& plugin, const QString& workdir = {}) {
        QTest::newRow(row) << args << env << int(HostOptions::Run) << headless << plugin << workdir
                           << QString();
    };
    const auto stops = [](const char* row, const QStringList& args, HostOptions::Result result,
                          const QString& errorPart = {}) {
        QTest::newRow(row) << args << QString() << int(result) << false << QString() << QString()
                           << errorPart;
    };
    const QString fallback = QStringLiteral("/opt/zarvo/lib/libzarvo.so");

    runs("nothing: plug-in next to the program", {}, {}, false, fallback);
    runs("headless", {"--headless"}, {}, true, fallback);
    runs("single dash long", {"-headless"}, {}, true, fallback);
    runs("relative plug-in", {"--plugin", "p/../lib.so"}, {}, false, "/base/lib.so");
    runs("plug-in from the environment", {}, "env.so", false, "/base/env.so");
    runs("option beats environment", {"--plugin", "/opt.so"}, "/env.so", false, "/opt.so");
    runs("workdir", {"--workdir", "run", "--headless"}, {}, true, fallback, "/base/run");
    runs("further modules", {"--module", "a.so", "--module=/m/b.so"}, {}, false, fallback);
    stops("help", {"--headless", "-h"}, HostOptions::ShowHelp);
    stops("version", {"--version"}, HostOptions::ShowVersion);
    stops("unknown option", {"--bogus"}, HostOptions::UsageError, "bogus");
    stops("empty value", {"--workdir="}, HostOptions::UsageError, "workdir");
    stops("empty module", {"--module="}, HostOptions::UsageError, "module");
    stops("stray argument", {"--headless", "extra"}, HostOptions::UsageError, "extra");
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
    }
    if (result != HostOptions::Run) {
        return;
    }
    QCOMPARE(options.headless(), headless);
    QCOMPARE(options.resolvedPluginFile(QStringLiteral("/opt/zarvo/bin")), plugin);
    QCOMPARE(options.workDir(), workdir);
    QCOMPARE(options.moduleFiles(), args.contains(QStringLiteral("--module"))
                                        ? QStringList({"/base/a.so", "/m/b.so"})
                                        : QStringList());
    QVERIFY(options.errorText().isEmpty());
}

QTEST_GUILESS_MAIN(TestHostOptions)
#include "tst_hostoptions.moc"
