#include "services/binding.h"

#include "controller/controllermanager.h"
#include "module/managerhelper.h"

#include <velk/moduleobject.h>
#include <velk/velk.h>

#include <QComboBox>
#include <QLineEdit>
#include <QPointer>

#include <cmath>

namespace {

QStringList declaredNames(velk::ModuleObject* declaration)
{
    const QString single = declaration->getString();
    if (!single.isEmpty()) {
        return {single};
    }
    return varListToStringList(declaration->getList());
}

} // namespace

void autoBindGet(QObject* receiver, velk::ModuleObject* node)
{
    if (!node || node->isEmptyMobj()) {
        return;
    }
    velk::ModuleObject* get = node->cmobj(QStringLiteral("_get"));
    if (get->isEmptyMobj()) {
        const QList<velk::ModuleObject*> children = node->cmobjs();
        for (velk::ModuleObject* child : children) {
            autoBindGet(receiver, child);
        }
        return;
    }

    ControllerManager* link = rc();
    QList<velk::ModuleObject*> sources;
    if (get->hasCmobj(QStringLiteral("response"))) {
        const QStringList names = declaredNames(get->cmobj(QStringLiteral("response")));
        for (const QString& name : names) {
            sources.append(link->responseMobj(name));
        }
    }
    if (get->hasCmobj(QStringLiteral("notify"))) {
        const QStringList names = declaredNames(get->cmobj(QStringLiteral("notify")));
        for (const QString& name : names) {
            sources.append(link->notifyMobj(name));
        }
    }

    const QPointer<velk::ModuleObject> bound(node);
    for (velk::ModuleObject* source : qAsConst(sources)) {
        const QPointer<velk::ModuleObject> from(source);
        QObject::connect(source, &velk::ModuleObject::changed, receiver, [receiver, bound, from] {
            if (!bound || !from) {
                return;
            }
            const QStringList names = bound->cmobjNames();
            for (const QString& name : names) {
                if (from->hasCmobj(name)) {
                    bound->cmobj(name)->copyFrom(receiver, from->cmobj(name), true, true);
                }
            }
            // One change of the bound node after all children were copied.
            bound->set(receiver, bound->get());
        });
    }
}

void autoBindSet(QObject* receiver, velk::ModuleObject* node)
{
    if (!node || node->isEmptyMobj()) {
        return;
    }
    velk::ModuleObject* set = node->cmobj(QStringLiteral("_set"));
    if (set->isEmptyMobj()) {
        const QList<velk::ModuleObject*> children = node->cmobjs();
        for (velk::ModuleObject* child : children) {
            autoBindSet(receiver, child);
        }
        return;
    }
    if (!set->hasCmobj(QStringLiteral("request"))) {
        return;
    }

    QObject::connect(
        node, &velk::ModuleObject::activated, node,
        [receiver, node](velk::ModuleObject*, int, QObject* source) {
            ControllerManager* link = rc();
            if (source == receiver || source == link) {
                return;
            }
            const QString name =
                node->cmobj(QStringLiteral("_set"))->cmobj(QStringLiteral("request"))->getString();
            link->request(name, node);
        });

    const QString name = set->cmobj(QStringLiteral("request"))->getString();
    const QString path = velk::mName(rc()->name(), name);
    QObject::connect(velk::m(path), &velk::ModuleObject::changed, node,
                     [node, path] { node->activate(rc(), velk::m(path), velk::ActivateData); });
}

void refreshComboBox(QComboBox* box, const QStringList& items)
{
    if (!box) {
        return;
    }
    const QString remembered =
        box->isEditable() && box->lineEdit() ? box->lineEdit()->text() : box->currentText();
    box->hidePopup();
    box->clear();
    box->addItems(items);
    if (box->isEditable() && box->lineEdit()) {
        box->lineEdit()->setText(remembered);
        return;
    }
    const int index = box->findText(remembered, Qt::MatchExactly | Qt::MatchCaseSensitive);
    box->setCurrentIndex(index >= 0 ? index : 0);
}

QString varDoubleToString(QVariant value)
{
    const double number = value.toDouble();
    QString text = QString::number(number, 'f', 11);
    // Qt drops the sign of a negative zero; the display keeps it.
    if (number == 0 && std::signbit(number) && !text.startsWith(QLatin1Char('-'))) {
        text.prepend(QLatin1Char('-'));
    }
    for (int i = text.size() - 1; i >= 1; --i) {
        const QChar c = text.at(i);
        if (c == QLatin1Char('0')) {
            text.chop(1);
            continue;
        }
        if (c == QLatin1Char('.')) {
            text.chop(1);
        }
        break;
    }
    return text;
}

QStringList varListToStringList(const QList<QVariant>& list)
{
    QStringList out;
    out.reserve(list.size());
    for (const QVariant& item : list) {
        out.append(item.toString());
    }
    return out;
}
