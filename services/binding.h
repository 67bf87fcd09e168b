#pragma once

// Ties module-object trees to controller messages by declaration. A node with
// a child "_get" receives the data of the controller responses ("response")
// and notifications ("notify") named there; a node with "_set" is sent as the
// request named in "_set"/"request" whenever someone else changes it. Names
// are a string, or a list when the string is empty.

#include <zarvo/zarvo_global.h>

#include <QList>
#include <QString>
#include <QStringList>
#include <QVariant>

class QComboBox;
class QObject;

namespace velk {
class ModuleObject;
}

// Walks `node`'s tree and connects every "_get" declaration; a declared node
// is not descended into. `receiver` is the context of the connections (they
// end with it) and the origin of every value written. Calling it twice on
// one tree makes every copy run twice.
ZARVO_EXPORT void autoBindGet(QObject* receiver, velk::ModuleObject* node);

// Walks `node`'s tree and connects every "_set" declaration that names a
// request. Changes whose origin is `receiver` or the controller link are not
// sent, so an answer never echoes back as a request. When the controller's
// object of that request changes, the node is activated (type 0) with the
// controller link as source: its value then tells accepted (true) or refused.
ZARVO_EXPORT void autoBindSet(QObject* receiver, velk::ModuleObject* node);

// Replace the items, keeping the user's text (editable box) or selection
// (the same text, else the first item).
ZARVO_EXPORT void refreshComboBox(QComboBox* box, const QStringList& items);

// A double for display: fixed, at most 11 decimals, trailing zeros dropped.
ZARVO_EXPORT QString varDoubleToString(QVariant value);

ZARVO_EXPORT QStringList varListToStringList(const QList<QVariant>& list);
