#include <velk/jsonstreamreader.h>

#include <QtTest>

using velk::JsonStreamReader;

namespace {

// What a reader made of a stream delivered in `chunks`.
struct Outcome
{
    QJsonArray objects;
    int errors = 0;
    int maxPending = 0;    // the largest buffer on the way
    bool restless = false; // the reader kept giving results on the same input
};

Outcome feed(const QList<QByteArray>& chunks, int maxSize)
{
    JsonStreamReader reader(maxSize);
    Outcome out;
    QJsonObject object;
    QString error;
    for (const QByteArray& chunk : chunks) {
        reader.append(chunk);
        JsonStreamReader::Result result = JsonStreamReader::Object;
        for (int guard = 0; guard < 100000 && result != JsonStreamReader::NeedMoreData; ++guard) {
            result = reader.next(&object, &error);
            if (result == JsonStreamReader::Object) {
                out.objects.append(object);
            } else if (result == JsonStreamReader::Error) {
                out.errors += error.isEmpty() ? 1000 : 1; // an error must say why
                error.clear();
            }
        }
        out.restless |= result != JsonStreamReader::NeedMoreData;
        out.maxPending = qMax(out.maxPending, reader.pendingBytes());
    }
    return out;
}

// Quoted braces and escapes that a brace counter must not take for structure.
const char kTricky[] = "{\"s\":\"}{ \\\"}\\\" [ ] {\",\"t\":\"\\\\\"}";

QJsonObject obj(const char* json)
{
    return QJsonDocument::fromJson(json).object();
}

} // namespace

class TestJsonStreamReader : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // clang-format off
    void frames_data()
    {
        QTest::addColumn<QByteArray>("input");
        QTest::addColumn<QJsonArray>("objects");
        QTest::addColumn<int>("errors");
        const QJsonObject a = obj(R"({"id":"1","data":{"x":[1,2,{"y":null}]}})");
        const QJsonObject b = obj(R"({"b":true})");
        QTest::newRow("two packets in one read") << QByteArray("{\"id\":\"1\",\"data\":{\"x\":[1,2,{\"y\":null}]}}\n{\"b\":true}\n") << QJsonArray{a, b} << 0;
        QTest::newRow("back to back") << QByteArray(R"({"b":true}{"b":true})") << QJsonArray{b, b} << 0;
        QTest::newRow("back to back on one line") << QByteArray("{\"b\":true}{\"b\":true}\n") << QJsonArray{b, b} << 0;
        QTest::newRow("text after a packet on its line") << QByteArray("{\"b\":true} xx\n{\"b\":true}\n") << QJsonArray{b, b} << 1;
        QTest::newRow("CR LF and blank lines") << QByteArray("\r\n{\"b\":true}\r\n\r\n  \t{\"b\":true}\r\n") << QJsonArray{b, b} << 0;
        QTest::newRow("garbage between packets") << QByteArray("{\"b\":true}\nHTTP/1.1 200 OK\r\nxx }} ]]\n{\"b\":true}\n") << QJsonArray{b, b} << 1;
        QTest::newRow("line break inside an object") << QByteArray("{\"a\":1,\n{\"b\":true}\n") << QJsonArray{b} << 1;
        QTest::newRow("balanced but malformed") << QByteArray("{\"a\":}\n{\"b\":true}\n") << QJsonArray{b} << 1;
        QTest::newRow("array is not an object") << QByteArray("[{\"b\":true}]\n{\"b\":true}\n") << QJsonArray{b} << 1;
        QTest::newRow("oversize then good") << (QByteArray("{\"big\":\"") + QByteArray(100, 'x') + "\"}\n{\"b\":true}\n") << QJsonArray{b} << 1;
        QTest::newRow("braces and escaped quotes in strings") << QByteArray(kTricky) << QJsonArray{obj(kTricky)} << 0;
        QTest::newRow("repeated key") << QByteArray("{\"a\":[1],\"a\":2}\n{\"b\":true}\n") << QJsonArray{b} << 1;
        QTest::newRow("repeated key, escaped and nested") << QByteArray("{\"d\":[{\"\\u00e9\":{},\"\xc3\xa9\":1}]}{\"b\":true}") << QJsonArray{b} << 1;
        QTest::newRow("same key in sibling objects") << QByteArray("{\"a\":{\"k\":1},\"b\":{\"k\":{\"a\":1}}}") << QJsonArray{obj("{\"a\":{\"k\":1},\"b\":{\"k\":{\"a\":1}}}")} << 0;
        QTest::newRow("escaped backslash before the closing quote") << QByteArray("{\"p\":\"C:\\\\dir\\\\\"}{\"b\":true}") << QJsonArray{obj("{\"p\":\"C:\\\\dir\\\\\"}"), b} << 0;
    }
    // clang-format on

    void frames()
    {
        QFETCH(QByteArray, input);
        QFETCH(QJsonArray, objects);
        QFETCH(int, errors);
        // Whole, split in two at every byte, and byte by byte: the cut must not matter.
        QList<QList<QByteArray>> feeds{{input}, {}};
        for (char c : input) {
            feeds[1].append(QByteArray(1, c));
        }
        for (int cut = 1; cut < input.size(); ++cut) {
            feeds.append({input.left(cut), input.mid(cut)});
        }
        for (const QList<QByteArray>& chunks : feeds) {
            const Outcome out = feed(chunks, 64);
            const QString cut = QStringLiteral("%1 chunks, the first %2 bytes")
                                    .arg(chunks.size())
                                    .arg(chunks[0].size());
            QVERIFY2(out.objects == objects && out.errors == errors && !out.restless,
                     qPrintable(cut));
        }
    }

    // clang-format off
    // Keys compared as the parser will store them, in objects of any size.
    void repeatedKeys_data()
    {
        QTest::addColumn<QByteArray>("input");
        QTest::addColumn<bool>("refused");
        QByteArray many = "{";
        for (int i = 0; i < 40; ++i) {
            many += "\"k" + QByteArray::number(i) + "\":" + QByteArray::number(i) + ",";
        }
        QTest::newRow("40 distinct keys") << QByteArray(many + "\"z\":0}") << false;
        QTest::newRow("40 keys, the last repeats the first") << QByteArray(many + "\"k0\":0}") << true;
        QTest::newRow("escaped quote inside a key") << QByteArray("{\"a\\\"\":1,\"a\\\"\":2}") << true;
        QTest::newRow("keys that differ after an escaped quote") << QByteArray("{\"a\\\"b\":1,\"a\\\"c\":2}") << false;
        QTest::newRow("key ending in an escaped backslash") << QByteArray("{\"k\\\\\":1,\"k\\\\\":2}") << true;
        QTest::newRow("escape spelling the same key") << QByteArray("{\"ab\":1,\"a\\u0062\":2}") << true;
        QTest::newRow("string values that look like keys") << QByteArray(R"({"a":"b","c":["b","b"],"d":{"b":"a"}})") << false;
        QTest::newRow("repeat in an object closed late") << QByteArray(R"({"x":{"y":[{}],"y":1},"z":2})") << true;
    }
    // clang-format on

    void repeatedKeys()
    {
        QFETCH(QByteArray, input);
        QFETCH(bool, refused);
        const Outcome out = feed({input + "\n"}, 1 << 20);
        QCOMPARE(out.errors, refused ? 1 : 0);
        QCOMPARE(out.objects.size(), refused ? 0 : 1);
    }

    void oversizeNeverGrowsTheBuffer()
    {
        QList<QByteArray> chunks{"{\"big\":\""};
        for (int i = 0; i < 1000; ++i) {
            chunks.append(QByteArray(100, 'x'));
        }
        chunks.append("\"}\n{\"b\":true}\n");
        const Outcome out = feed(chunks, 1024);
        QVERIFY(out.maxPending <= 1024 && !out.restless);
        QCOMPARE(out.errors, 1);
        QCOMPARE(out.objects, QJsonArray{obj(R"({"b":true})")});
    }
};

QTEST_GUILESS_MAIN(TestJsonStreamReader)
#include "tst_jsonstreamreader.moc"
