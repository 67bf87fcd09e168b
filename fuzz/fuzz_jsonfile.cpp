// The reader of every JSON file (settings, themes, templates): any bytes
// parse or fail cleanly, and what parses survives its own write and read.

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
    const QJsonValue again = velk::JsonFile::parse(velk::JsonFile::serialize(value));
    if (again != value) {
        std::abort();
    }
    return 0;
}
