#pragma once

#include "velk_global.h"

#include <QObject>

namespace velk {

// Translations from two sources: Qt's compiled .qm files (installed into the
// application, so tr() and QCoreApplication::translate() see them), and JSON
// files for texts that are data rather than code, such as command names.
//
// JSON translation format (UTF-8, BOM optional):
//   with a context given to installJsonTranslator:
//     { "<source text>": "<translation>", ... }
//   with an empty context, the contexts are in the file:
//     { "<context>": { "<source text>": "<translation>", ... }, ... }
// Later installations override earlier ones for the same context and text.
class VELK_EXPORT TranslationManager : public QObject
{
    Q_OBJECT

public:
    static TranslationManager& instance();
    ~TranslationManager() override;

    bool installJsonTranslator(const QString& context, const QString& file);
    bool installQMTranslator(const QString& file);

    // The JSON translation, else the installed .qm translation, else `text`.
    QString dtr(const QString& context, const QString& text) const;

    // Remove everything installed (used when the language is switched).
    void clear();

private:
    TranslationManager();
    Q_DISABLE_COPY(TranslationManager)

    class Private;
    Private* d;
};

} // namespace velk
