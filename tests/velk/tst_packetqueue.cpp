#include <velk/packetqueue_p.h>

#include <QtTest>

using velk::internal::PacketQueue;

namespace {

// "p3": the packet numbered 3 with key "p"; the key "s" stands for none.
QJsonObject packet(const QString& token)
{
    QJsonObject json{{"seq", token.mid(1).toInt()}};
    if (token.at(0) != QLatin1Char('s')) {
        json.insert("key", token.left(1));
    }
    return json;
}

QString token(const QJsonObject& json)
{
    const QString key = json.value("key").toString();
    return (key.isEmpty() ? QStringLiteral("s") : key) + QString::number(json.value("seq").toInt());
}

} // namespace

class TestPacketQueue : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void coalesce_data()
    {
        QTest::addColumn<QString>("input");
        QTest::addColumn<QString>("kept");
        QTest::addRow("the newest pose wins") << "p0 p1 p2"
                                              << "p2";
        QTest::addRow("state changes keep their place") << "p0 s1 p2 s3 p4"
                                                        << "s1 s3 p4";
        QTest::addRow("each key keeps its newest") << "p0 q1 p2 q3 s4"
                                                   << "p2 q3 s4";
        QTest::addRow("a lone pose stays") << "s0 p1 s2"
                                           << "s0 p1 s2";
        QTest::addRow("nothing keyed") << "s0 s1"
                                       << "s0 s1";
        QTest::addRow("empty") << ""
                               << "";
    }

    void coalesce()
    {
        QFETCH(QString, input);
        QFETCH(QString, kept);
        PacketQueue queue;
        const QStringList tokens = input.split(' ', Qt::SkipEmptyParts);
        for (const QString& t : tokens) {
            queue.push(packet(t));
        }
        const qint64 dropped =
            queue.coalesce([](const QJsonObject& json) { return json.value("key").toString(); });
        QStringList out;
        for (int guard = 0; guard < 100 && !queue.isEmpty(); ++guard) {
            out << token(queue.take());
        }
        QCOMPARE(out.join(' '), kept);
        QCOMPARE(dropped, qint64(tokens.size() - out.size()));
    }
};

QTEST_MAIN(TestPacketQueue)
#include "tst_packetqueue.moc"
