#include "translationmanager.h"

#include "jsonfile.h"
#include "translationmanager_p.h"
#include "velk.h"
#include "velklog_p.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QJsonObject>
#include <QTranslator>

namespace velk {

namespace {

// Returns how many translations were taken; members that are not strings are
// skipped so that one bad entry does not cost the whole file.
int takeTexts(const QJsonObject& from, QHash<QString, QString>& into)
{
    int taken = 0;
    for (auto it = from.constBegin(); it != from.constEnd(); ++it) {
        if (it.value().isString()) {
            into.insert(it.key(), it.value().toString());
            ++taken;
        }
    }
    return taken;
}

} // namespace

TranslationManager& TranslationManager::instance()
{
    static TranslationManager manager;
    return manager;
}

TranslationManager::TranslationManager()
    : d(new Private)
{
}

TranslationManager::~TranslationManager()
{
    clear();
    delete d;
}

bool TranslationManager::installJsonTranslator(const QString& context, const QString& file)
{
    // A missing file is an ordinary case (a language without translations);
    // only a file that exists and cannot be used is worth a line.
    if (!QFileInfo::exists(file)) {
        return false;
    }
    QString error;
    const QJsonValue value = JsonFile::read(file, &error);
    if (!value.isObject()) {
        internal::error(
            QStringLiteral("translation not installed: %1")
                .arg(value.isNull() ? error : file + QStringLiteral(" is not a JSON object")));
        return false;
    }
    const QJsonObject root = value.toObject();
    if (!context.isEmpty()) {
        takeTexts(root, d->json[context]);
        return true;
    }
    for (auto it = root.constBegin(); it != root.constEnd(); ++it) {
        if (it.value().isObject()) {
            takeTexts(it.value().toObject(), d->json[it.key()]);
        }
    }
    return true;
}

bool TranslationManager::installQMTranslator(const QString& file)
{
    if (!QCoreApplication::instance()) {
        internal::error(QStringLiteral("translation %1 not installed: no application").arg(file));
        return false;
    }
    auto* translator = new QTranslator(this);
    if (!translator->load(file) || !QCoreApplication::installTranslator(translator)) {
        if (QFileInfo::exists(file)) {
            internal::warn(QStringLiteral("translation %1 not installed").arg(file));
        }
        delete translator;
        return false;
    }
    d->qm.append(translator);
    return true;
}

QString TranslationManager::dtr(const QString& context, const QString& text) const
{
    const auto byContext = d->json.constFind(context);
    if (byContext != d->json.constEnd()) {
        const auto it = byContext->constFind(text);
        if (it != byContext->constEnd()) {
            return it.value();
        }
    }
    // Returns `text` itself when no installed translator knows it.
    return QCoreApplication::translate(context.toUtf8().constData(), text.toUtf8().constData());
}

void TranslationManager::clear()
{
    d->json.clear();
    for (QTranslator* translator : qAsConst(d->qm)) {
        // At process exit the application may be gone before this manager;
        // its translators went with it.
        if (QCoreApplication::instance()) {
            QCoreApplication::removeTranslator(translator);
        }
        delete translator;
    }
    d->qm.clear();
}

TranslationManager& translator()
{
    return TranslationManager::instance();
}

} // namespace velk
