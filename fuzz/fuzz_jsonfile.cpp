// The reader of every JSON file (settings, themes, templates): any bytes
// parse or fail cleanly, and what is written back reads back to the same
// file. (Compared as written: Qt drops a byte-order mark inside a key on
// parsing but keeps it in the object's own comparison.)

#include <velk/jsonfile.h>

#include <QByteArray>
#include <QJsonValue>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    const QByteArray data(reinterpret_cast<const char*>(bytes), int(size));
    QString error;
    const QJsonValue value = velk::JsonFile::parse(data, &error);
    if (value.isNull()) {
        if (error.isEmpty()) {
            std::abort();
        }
        return 0;
    }
    const QByteArray written = velk::JsonFile::serialize(value);
    if (velk::JsonFile::serialize(velk::JsonFile::parse(written)) != written) {
        std::abort();
    }
    return 0;
}
