#include "simframereader.h"

#include <QJsonDocument>
#include <QRegularExpression>
#include <QtTest>

using zarvo::sim::SimFrameReader;

// What comes out of `chunks`, in order: objects as compact text, skipped bytes as "!" + bytes.
static QStringList readAll(SimFrameReader* reader, const QList<QByteArray>& chunks)
{
    QStringList out;
    QJsonObject object;
    QByteArray skipped;
    for (const QByteArray& chunk : chunks) {
        reader->append(chunk);
        for (SimFrameReader::Result r; (r = reader->next(&object, &skipped)) != reader->NeedMore;)
            out << (r == reader->Object ? QJsonDocument(object).toJson(QJsonDocument::Compact)
                                        : "!" + skipped);
    }
    return out;
}

class TestSimFrameReader : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cutsStreams_data();
    void cutsStreams();
};

void TestSimFrameReader::cutsStreams_data()
{
    QTest::addColumn<QList<QByteArray>>("chunks");
    QTest::addColumn<QStringList>("expected");
    QTest::addColumn<int>("limit");
    auto row = [](const char* tag, const QList<QByteArray>& chunks, const QStringList& expected,
                  int limit = SimFrameReader::DefaultMaxObjectSize) {
        QTest::newRow(tag) << chunks << expected << limit;
    };
    // The reader once lost the second packet of a connection.
    row("second packet", {"{\"a\":1}\n", "{\"b\":2}\n"}, {"{\"a\":1}", "{\"b\":2}"});
    row("crlf and blanks", {"\r\n{\"a\":1}\r\n\r\n", " \t{\"b\":2}\r\n"},
        {"{\"a\":1}", "{\"b\":2}"});
    row("back to back, no line end", {"{\"a\":1}{\"b\":[{}]}"}, {"{\"a\":1}", "{\"b\":[{}]}"});
    row("split inside string", {"{\"a\":\"x}", "y\\\"{\"}\n"}, {"{\"a\":\"x}y\\\"{\"}"});
    row("escapes and nesting", {"x{\"a\":{\"b\":\"}\\\\\"}}\r\n[2]\n{\"c\":[1,{\"d\":null}]}"},
        {"!x", "{\"a\":{\"b\":\"}\\\\\"}}", "![2]\n", "{\"c\":[1,{\"d\":null}]}"});
    row("garbage across chunks", {"ju", "nk{\"a\":1}\n"}, {"!junk", "{\"a\":1}"});
    row("object broken by line end", {"{\"a\":\n{\"b\":2}\n"}, {"!{\"a\":\n", "{\"b\":2}"});
    row("line end inside string", {"{\"a\":\"x\ny\"}\n{\"b\":2}\n"},
        {"!{\"a\":\"x\n", "!y\"}\n", "{\"b\":2}"});
    row("unparsable", {"{\"a\":}\n{\"b\":2}\n"}, {"!{\"a\":}", "{\"b\":2}"});
    // Past the limit, bytes are let go as they come, up to the line end: only the tail is left.
    row("oversize", {"{\"a\":\"" + QByteArray(100, 'x'), QByteArray(100, 'y'), "\"}\n{\"b\":2}\n"},
        {"!\"}\n", "{\"b\":2}"}, 64);
}

void TestSimFrameReader::cutsStreams()
{
    QFETCH(QList<QByteArray>, chunks);
    QFETCH(QStringList, expected);
    QFETCH(int, limit);
    SimFrameReader whole(limit);
    QCOMPARE(readAll(&whole, chunks), expected);
    // Byte by byte, the same objects come out.
    QList<QByteArray> bytes;
    for (char c : chunks.join())
        bytes << QByteArray(1, c);
    SimFrameReader trickle(limit);
    const QRegularExpression object(QStringLiteral("^[^!]"));
    QCOMPARE(readAll(&trickle, bytes).filter(object), expected.filter(object));
}

QTEST_GUILESS_MAIN(TestSimFrameReader)
#include "tst_simframereader.moc"
