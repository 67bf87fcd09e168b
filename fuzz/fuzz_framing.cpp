// The stream framing of the controller link: whatever the bytes, the reader
// ends, stays within its size bound, and hands out the same objects however
// the stream is cut into reads.

#include <velk/jsonstreamreader.h>

#include <QJsonObject>
#include <QVector>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace {

// Every object of `data`, read in slices of `slice` bytes (all at once for 0).
QVector<QJsonObject> objects(const QByteArray& data, int slice, int maxPackage)
{
    velk::JsonStreamReader reader(maxPackage);
    QVector<QJsonObject> out;
    const int step = slice > 0 ? slice : qMax(1, data.size());
    for (int at = 0; at < data.size(); at += step) {
        reader.append(data.mid(at, step));
        QJsonObject object;
        QString error;
        // Each call consumes input or returns NeedMoreData; the bound only
        // turns a reader that stops consuming into a finding.
        for (int guard = 0; guard <= data.size() + 2; ++guard) {
            const auto result = reader.next(&object, &error);
            if (result == velk::JsonStreamReader::NeedMoreData) {
                break;
            }
            if (guard == data.size() + 2) {
                std::abort();
            }
            if (result == velk::JsonStreamReader::Object) {
                out.append(object);
            }
        }
        if (reader.pendingBytes() > maxPackage + step) {
            std::abort();
        }
    }
    return out;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    if (size < 1) {
        return 0;
    }
    const int slice = bytes[0] % 17;
    const QByteArray data(reinterpret_cast<const char*>(bytes + 1), int(size - 1));
    // A bound far above any input keeps the oversize rule, which depends on
    // where a read ends, out of the comparison.
    const QVector<QJsonObject> whole = objects(data, 0, 1 << 24);
    if (objects(data, slice, 1 << 24) != whole) {
        std::abort();
    }
    // A small bound: only that it ends and stays bounded.
    objects(data, slice, 256);
    return 0;
}
