#include <velk/jsonstreamreader.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

using velk::JsonStreamReader;

namespace {

struct Outcome
{
    QJsonArray objects;
    QStringList errors;
};

void drain(JsonStreamReader& reader, Outcome& out)
{
    QJsonObject object;
    QString error;
    // More results than bytes would mean the reader loops on the same input.
    for (int guard = 0; guard < 100000; ++guard) {
        switch (reader.next(&object, &error)) {
        case JsonStreamReader::NeedMoreData:
            return;
        case JsonStreamReader::Object:
            out.objects.append(object);
            break;
        case JsonStreamReader::Error:
            QVERIFY(!error.isEmpty());
            out.errors.append(error);
            error.clear();
            break;
        }
    }
    QFAIL("the reader does not come to rest");
}

Outcome feed(const QList<QByteArray>& chunks, int maxSize)
{
    JsonStreamReader reader(maxSize);
    Outcome out;
    for (const QByteArray& chunk : chunks) {
        reader.append(chunk);
        drain(reader, out);
    }
    return out;
}

QJsonObject obj(const char* json)
{
    return QJsonDocument::fromJson(json).object();
}

} // namespace

class TestJsonStreamReader : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void frames_data();
    void frames();
    void pendingPartialPackage();
    void oversizeNeverGrowsTheBuffer();
    void junkSpanningReadsIsReportedOnce();
    void manyPackagesInOneRead();
    void resetDropsThePartialPackage();
    void invalidMaxSizeFallsBackToTheDefault();
};

// Every row is fed whole, split in two at every byte boundary, and byte by
// byte: the result must not depend on how the stream was cut.
void TestJsonStreamReader::frames_data()
{
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<QJsonArray>("objects");
    QTest::addColumn<int>("errors");

    const QJsonObject a = obj(R"({"id":"1","data":{"x":[1,2,{"y":null}]}})");
    const QJsonObject b = obj(R"({"b":true})");

    QTest::newRow("one packet") << QByteArray(R"({"id":"1","data":{"x":[1,2,{"y":null}]}})"
                                              "\n")
                                << QJsonArray{a} << 0;
    QTest::newRow("two packets in one read")
        << QByteArray("{\"id\":\"1\",\"data\":{\"x\":[1,2,{\"y\":null}]}}\n{\"b\":true}\n")
        << QJsonArray{a, b} << 0;
    QTest::newRow("back to back, no line break")
        << QByteArray(R"({"b":true}{"b":true})") << QJsonArray{b, b} << 0;
    QTest::newRow("CR LF and blank lines")
        << QByteArray("\r\n{\"b\":true}\r\n\r\n  \t{\"b\":true}\r\n") << QJsonArray{b, b} << 0;
    QTest::newRow("empty object") << QByteArray("{}\n") << QJsonArray{QJsonObject()} << 0;
    QTest::newRow("garbage between packets")
        << QByteArray("{\"b\":true}\nHTTP/1.1 200 OK\r\nxx }} ]]\n{\"b\":true}\n")
        << QJsonArray{b, b} << 1;
    QTest::newRow("garbage before the first packet")
        << QByteArray("\x01\x02\xff{\"b\":true}\n") << QJsonArray{b} << 1;
    QTest::newRow("line break inside an object")
        << QByteArray("{\"a\":1,\n{\"b\":true}\n") << QJsonArray{b} << 1;
    QTest::newRow("line break inside a string")
        << QByteArray("{\"a\":\"open\n{\"b\":true}\n") << QJsonArray{b} << 1;
    QTest::newRow("balanced but malformed")
        << QByteArray("{\"a\":}\n{\"b\":true}\n") << QJsonArray{b} << 1;
    QTest::newRow("array is not an object")
        << QByteArray("[{\"b\":true}]\n{\"b\":true}\n") << QJsonArray{b} << 1;
    QTest::newRow("scalar is not an object")
        << QByteArray("42\n{\"b\":true}\n") << QJsonArray{b} << 1;
    QTest::newRow("oversize then good")
        << (QByteArray("{\"big\":\"") + QByteArray(100, 'x') + "\"}\n{\"b\":true}\n")
        << QJsonArray{b} << 1;
    QTest::newRow("braces and escaped quotes in strings")
        << QByteArray(R"({"s":"}{ \"}\" [ ] {","t":"\\"})"
                      "\n")
        << QJsonArray{obj(R"({"s":"}{ \"}\" [ ] {","t":"\\"})")} << 0;
    QTest::newRow("escaped backslash before the closing quote")
        << QByteArray(R"({"p":"C:\\dir\\"}{"b":true})")
        << QJsonArray{obj(R"({"p":"C:\\dir\\"})"), b} << 0;
    QTest::newRow("UTF-8 Chinese text")
        << QByteArray(u8"{\"cn\":\"操作模式错误 {括号}\"}\n")
        << QJsonArray{QJsonObject{
               {QStringLiteral("cn"), QString::fromUtf8(u8"操作模式错误 {括号}")}}}
        << 0;
}

void TestJsonStreamReader::frames()
{
    QFETCH(QByteArray, input);
    QFETCH(QJsonArray, objects);
    QFETCH(int, errors);
    const int maxSize = 64;

    Outcome whole = feed({input}, maxSize);
    QCOMPARE(whole.objects, objects);
    QCOMPARE(whole.errors.size(), errors);

    for (int cut = 1; cut < input.size(); ++cut) {
        const Outcome split = feed({input.left(cut), input.mid(cut)}, maxSize);
        if (split.objects != objects || split.errors.size() != errors) {
            qWarning() << "cut at" << cut << split.objects << split.errors;
        }
        QCOMPARE(split.objects, objects);
        QCOMPARE(split.errors.size(), errors);
    }

    QList<QByteArray> bytes;
    for (char c : input) {
        bytes.append(QByteArray(1, c));
    }
    const Outcome single = feed(bytes, maxSize);
    QCOMPARE(single.objects, objects);
    QCOMPARE(single.errors.size(), errors);
}

void TestJsonStreamReader::pendingPartialPackage()
{
    JsonStreamReader reader;
    Outcome out;
    reader.append("{\"b\":true}\n{\"a\":");
    drain(reader, out);
    QCOMPARE(out.objects.size(), 1);
    QCOMPARE(reader.pendingBytes(), 5);
    reader.append("1}\n");
    drain(reader, out);
    QCOMPARE(out.objects.size(), 2);
    QCOMPARE(out.objects.at(1).toObject(), obj(R"({"a":1})"));
    QCOMPARE(reader.pendingBytes(), 0);
}

void TestJsonStreamReader::oversizeNeverGrowsTheBuffer()
{
    const int maxSize = 1024;
    JsonStreamReader reader(maxSize);
    Outcome out;
    reader.append("{\"big\":\"");
    const QByteArray chunk(100, 'x');
    for (int i = 0; i < 1000; ++i) {
        reader.append(chunk);
        drain(reader, out);
        QVERIFY2(reader.pendingBytes() <= maxSize, qPrintable(QString::number(i)));
    }
    QCOMPARE(out.errors.size(), 1);
    reader.append("\"}\n{\"b\":true}\n");
    drain(reader, out);
    QCOMPARE(out.errors.size(), 1);
    QCOMPARE(out.objects, QJsonArray{obj(R"({"b":true})")});
}

void TestJsonStreamReader::junkSpanningReadsIsReportedOnce()
{
    JsonStreamReader reader;
    Outcome out;
    for (int i = 0; i < 100; ++i) {
        reader.append("garbage without any package ");
        drain(reader, out);
        QCOMPARE(reader.pendingBytes(), 0);
    }
    reader.append("{\"b\":true}");
    drain(reader, out);
    QCOMPARE(out.errors.size(), 1);
    QCOMPARE(out.objects.size(), 1);
}

void TestJsonStreamReader::manyPackagesInOneRead()
{
    QByteArray input;
    for (int i = 0; i < 5000; ++i) {
        input +=
            QJsonDocument(QJsonObject{{QStringLiteral("n"), i}}).toJson(QJsonDocument::Compact);
        input += '\n';
    }
    // The last one arrives in two parts.
    input += "{\"n\":";
    Outcome out = feed({input, "5000}\n"}, JsonStreamReader::DefaultMaxPackageSize);
    QCOMPARE(out.errors, QStringList());
    QCOMPARE(out.objects.size(), 5001);
    for (int i = 0; i < out.objects.size(); ++i) {
        QCOMPARE(out.objects.at(i).toObject().value(QStringLiteral("n")).toInt(), i);
    }
}

void TestJsonStreamReader::resetDropsThePartialPackage()
{
    JsonStreamReader reader;
    Outcome out;
    reader.append("{\"a\":\"half");
    drain(reader, out);
    QVERIFY(reader.pendingBytes() > 0);
    reader.reset();
    QCOMPARE(reader.pendingBytes(), 0);
    reader.append("{\"b\":true}");
    drain(reader, out);
    QCOMPARE(out.objects, QJsonArray{obj(R"({"b":true})")});
    QVERIFY(out.errors.isEmpty());
}

void TestJsonStreamReader::invalidMaxSizeFallsBackToTheDefault()
{
    QCOMPARE(JsonStreamReader(0).maxPackageSize(), JsonStreamReader::DefaultMaxPackageSize);
    QCOMPARE(JsonStreamReader(-5).maxPackageSize(), JsonStreamReader::DefaultMaxPackageSize);
    QCOMPARE(JsonStreamReader(10).maxPackageSize(), 10);
}

QTEST_GUILESS_MAIN(TestJsonStreamReader)
#include "tst_jsonstreamreader.moc"
