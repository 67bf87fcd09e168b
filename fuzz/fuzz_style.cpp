// The theme's readers and its expansion of style values: any property value,
// any render description and any theme file expand, or are refused, without a
// crash, a hang or undefined behaviour.
//
// The first byte picks what the rest is: 0 a property value, 1 a render
// description (a rule or an array of rules), 2 the default theme's file.

#include "fuzzmodule.h"

#include "module/managerhelper.h"
#include "theme/thememanager.h"

#include <velk/jsonfile.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace {

// Below the working directory a file on disk wins over the compiled-in one.
const QString kThemeFile = QStringLiteral("zarvo/render/zvtheme/zvtheme_default.json");

void expandSome(const QString& value)
{
    ThemeManager* t = theme();
    t->buildStyleFromStr(value);
    t->zoomPx(value);
    t->getColor(value);
    t->getSize(value);
    t->getFont(value);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    fuzzmodule::start(argc, argv);
    if (!QDir().mkpath(QFileInfo(kThemeFile).path())) {
        std::abort();
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    if (size < 1) {
        return 0;
    }
    const QByteArray data(reinterpret_cast<const char*>(bytes + 1), int(size - 1));
    switch (bytes[0] % 3) {
    case 0:
        expandSome(QString::fromUtf8(data));
        break;
    case 1: {
        const QJsonValue value = velk::JsonFile::parse(data);
        const QJsonArray rules = value.isArray() ? value.toArray() : QJsonArray{value};
        for (const QJsonValue& rule : rules) {
            theme()->buildStyleFromJson(rule.toObject());
        }
        break;
    }
    default: {
        QFile file(kThemeFile);
        if (!file.open(QIODevice::WriteOnly) || file.write(data) != data.size()) {
            std::abort();
        }
        file.close();
        theme()->reloadTheme();
        for (const char* value : {"$color$topic", "$size$default", "$font$default",
                                  "$border$default", "$image$widget/chb_checked"}) {
            expandSome(QString::fromLatin1(value));
        }
        QFile::remove(kThemeFile);
        theme()->reloadTheme();
        break;
    }
    }
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return 0;
}
