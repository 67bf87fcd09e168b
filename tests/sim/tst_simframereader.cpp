#include "simframereader.h"

#include <QJsonDocument>
#include <QtTest>

using zarvo::sim::SimFrameReader;

// Feeds `chunks` one after another and records what comes out, in order:
// an object as its compact text, skipped bytes as "!" and their text.
static QStringList readAll(SimFrameReader* reader, const QList<QByteArray>& chunks)
{
    QStringList out;
    for (const QByteArray& chunk : chunks) {
        reader->append(chunk);
        QJsonObject object;
        QByteArray skipped;
        for (int guard = 0; guard < 1000; ++guard) {
            const SimFrameReader::Result result = reader->next(&object, &skipped);
            if (result == SimFrameReader::NeedMore)
                break;
            if (result == SimFrameReader::Object)
                out << QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
            else
                out << "!" + QString::fromUtf8(skipped);
        }
    }
    return out;
}

class TestSimFrameReader : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cutsStreams_data();
    void cutsStreams();
    void byteByByteEqualsWhole();
    void oversizeIsDroppedToLineEnd();
};

void TestSimFrameReader::cutsStreams_data()
{
    QTest::addColumn<QList<QByteArray>>("chunks");
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("one line") << QList<QByteArray>{"{\"a\":1}\n"} << QStringList{"{\"a\":1}"};
    QTest::newRow("no line end yet") << QList<QByteArray>{"{\"a\":1}"} << QStringList{"{\"a\":1}"};
    QTest::newRow("second packet after first")
        << QList<QByteArray>{"{\"a\":1}\n", "{\"b\":2}\n"} << QStringList{"{\"a\":1}", "{\"b\":2}"};
    QTest::newRow("crlf and blanks")
        << QList<QByteArray>{"\r\n{\"a\":1}\r\n\r\n", " \t{\"b\":2}\r\n"}
        << QStringList{"{\"a\":1}", "{\"b\":2}"};
    QTest::newRow("back to back") << QList<QByteArray>{"{\"a\":1}{\"b\":[{}]}"}
                                  << QStringList{"{\"a\":1}", "{\"b\":[{}]}"};
    QTest::newRow("split inside string")
        << QList<QByteArray>{"{\"a\":\"x}", "y\\\"{\"}\n"} << QStringList{"{\"a\":\"x}y\\\"{\"}"};
    QTest::newRow("garbage line") << QList<QByteArray>{"junk\n{\"a\":1}\n"}
                                  << QStringList{"!junk\n", "{\"a\":1}"};
    QTest::newRow("garbage glued to object")
        << QList<QByteArray>{"junk{\"a\":1}"} << QStringList{"!junk", "{\"a\":1}"};
    QTest::newRow("garbage across chunks")
        << QList<QByteArray>{"ju", "nk\n{\"a\":1}\n"} << QStringList{"!junk\n", "{\"a\":1}"};
    QTest::newRow("object broken by line end")
        << QList<QByteArray>{"{\"a\":\n{\"b\":2}\n"} << QStringList{"!{\"a\":\n", "{\"b\":2}"};
    QTest::newRow("line end inside string") << QList<QByteArray>{"{\"a\":\"x\ny\"}\n{\"b\":2}\n"}
                                            << QStringList{"!{\"a\":\"x\n", "!y\"}\n", "{\"b\":2}"};
    QTest::newRow("unparsable") << QList<QByteArray>{"{\"a\":}\n{\"b\":2}\n"}
                                << QStringList{"!{\"a\":}", "{\"b\":2}"};
    QTest::newRow("array is not an object")
        << QList<QByteArray>{"[1]\n{\"b\":2}\n"} << QStringList{"![1]\n", "{\"b\":2}"};
}

void TestSimFrameReader::cutsStreams()
{
    QFETCH(QList<QByteArray>, chunks);
    QFETCH(QStringList, expected);
    SimFrameReader reader;
    QCOMPARE(readAll(&reader, chunks), expected);
}

void TestSimFrameReader::byteByByteEqualsWhole()
{
    const QByteArray stream =
        "x{\"a\":{\"b\":\"}\\\\\"}}\r\n[2]\n{\"c\":[1,{\"d\":null}]}{\"e\":1}\n";
    SimFrameReader whole;
    const QStringList expected = readAll(&whole, {stream});
    QStringList objects;
    for (const QString& item : expected)
        if (!item.startsWith('!'))
            objects << item;
    QCOMPARE(objects.size(), 3);

    SimFrameReader trickle;
    QList<QByteArray> bytes;
    for (char c : stream)
        bytes << QByteArray(1, c);
    QStringList got;
    for (const QString& item : readAll(&trickle, bytes))
        if (!item.startsWith('!'))
            got << item;
    QCOMPARE(got, objects);
}

void TestSimFrameReader::oversizeIsDroppedToLineEnd()
{
    SimFrameReader reader(64);
    const QStringList out = readAll(
        &reader, {"{\"a\":\"" + QByteArray(100, 'x'), QByteArray(100, 'y'), "\"}\n{\"b\":2}\n"});
    QCOMPARE(out.size(), 2);
    QVERIFY(out.first().startsWith('!'));
    QCOMPARE(out.last(), QString("{\"b\":2}"));
    // Nothing of the dropped object is held.
    QCOMPARE(reader.pendingBytes(), 0);
}

QTEST_GUILESS_MAIN(TestSimFrameReader)
#include "tst_simframereader.moc"
