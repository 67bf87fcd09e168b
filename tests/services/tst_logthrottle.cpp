#include "services/logthrottle.h"

#include <QtTest>

// One call: a line of `kind` at `at` ms.
struct Call
{
    QString kind;
    qint64 at;
};
Q_DECLARE_METATYPE(QList<Call>)

class tst_LogThrottle : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void allow_data()
    {
        QTest::addColumn<QList<Call>>("calls");
        // Per call: "w" written, "-" held back, "w3" written after 3 held back.
        QTest::addColumn<QStringList>("seen");
        QTest::addColumn<QStringList>("flushed"); // "kind=n"

        // clang-format off
        QTest::newRow("burst, then held, new window reports") << QList<Call>{{"a", 0}, {"a", 1}, {"a", 2}, {"a", 3}, {"a", 100}} << QStringList{"w", "w", "-", "-", "w2"} << QStringList();
        QTest::newRow("kinds counted apart") << QList<Call>{{"a", 0}, {"a", 1}, {"b", 2}, {"a", 3}, {"b", 4}, {"b", 5}} << QStringList{"w", "w", "w", "-", "w", "-"} << QStringList{"a=1", "b=1"};
        QTest::newRow("a window is no sliding one") << QList<Call>{{"a", 0}, {"a", 99}, {"a", 100}, {"a", 101}, {"a", 102}} << QStringList{"w", "w", "w", "w", "-"} << QStringList{"a=1"};
        // A clock that goes back (a new process, a test) opens a window.
        QTest::newRow("clock going back") << QList<Call>{{"a", 500}, {"a", 501}, {"a", 502}, {"a", 10}} << QStringList{"w", "w", "-", "w1"} << QStringList();
        // clang-format on
    }

    void allow()
    {
        QFETCH(QList<Call>, calls);
        QFETCH(QStringList, seen);
        QFETCH(QStringList, flushed);
        LogThrottle throttle(2, 100);
        QStringList got;
        for (const Call& call : calls) {
            int held = -1;
            const bool write = throttle.allow(call.kind, call.at, &held);
            got << (write ? (held ? QStringLiteral("w%1").arg(held) : QStringLiteral("w"))
                          : QStringLiteral("-"));
        }
        QCOMPARE(got, seen);
        const QHash<QString, int> held = throttle.flush();
        QStringList pairs;
        for (auto it = held.cbegin(); it != held.cend(); ++it) {
            pairs << QStringLiteral("%1=%2").arg(it.key()).arg(it.value());
        }
        pairs.sort();
        QCOMPARE(pairs, flushed);
        // A flush closes every window: the next line goes through at once.
        QVERIFY(throttle.allow(calls.last().kind, calls.last().at));
    }
};

QTEST_APPLESS_MAIN(tst_LogThrottle)
#include "tst_logthrottle.moc"
