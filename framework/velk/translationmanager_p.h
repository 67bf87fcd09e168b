#pragma once

#include "translationmanager.h"

#include <QHash>
#include <QList>
#include <QString>

class QTranslator;

namespace velk {

class TranslationManager::Private
{
public:
    // context -> source text -> translation
    QHash<QString, QHash<QString, QString>> json;
    // Owned; installed into the application.
    QList<QTranslator*> qm;
};

} // namespace velk
