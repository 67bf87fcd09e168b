#include "widgets/sidetree.h"
#include "widgets/sidetree_p.h"

#include "ui_sidetree.h"

#include <velk/moduleobject.h>

#include <QBoxLayout>
#include <QPushButton>

// The root switcher at the foot of the side tree: the console is not the only way to reach a
// root that has no link from the pages shown.

namespace zarvo {

using namespace nav;

QPushButton* SideTree::rootButton(const QString& rootName) const
{
    return m_rootButtons.value(rootName).data();
}

void SideTree::syncRootButtons()
{
    auto* layout = qobject_cast<QBoxLayout*>(m_ui->wgtRoots->layout());
    // A root being removed is still attached while its removal is announced; its tree is
    // gone already, and so goes its button.
    for (auto it = m_rootButtons.begin(); it != m_rootButtons.end();) {
        if (!it.value() || !storedWidget(rootMobj(it.key()), kArea)) {
            delete it.value().data();
            it = m_rootButtons.erase(it);
        } else {
            ++it;
        }
    }
    int index = 0;
    const QStringList names = rootsMobj()->cmobjNames(true);
    for (const QString& rootName : names) {
        if (!storedWidget(rootMobj(rootName), kArea)) {
            continue;
        }
        QPushButton* button = m_rootButtons.value(rootName);
        if (!button) {
            button = new QPushButton(m_ui->wgtRoots);
            button->setObjectName(kRootName);
            button->setCheckable(true);
            button->setProperty("root", rootName);
            connect(button, &QPushButton::clicked, this,
                    [this, rootName] { chooseRoot(rootName); });
            m_rootButtons.insert(rootName, button);
        }
        layout->removeWidget(button);
        layout->insertWidget(index++, button);
    }
    // With one root there is nothing to switch to.
    m_ui->wgtRoots->setVisible(m_rootButtons.size() > 1);
    refreshRootButtons();
}

void SideTree::refreshRootButtons()
{
    const QString current = mobj()->cmobj(kCurRoot)->getString();
    const bool folded = isFolded();
    for (auto it = m_rootButtons.cbegin(); it != m_rootButtons.cend(); ++it) {
        QPushButton* button = it.value();
        if (!button) {
            continue;
        }
        const QString label = rootMobj(it.key())->getString().trimmed();
        // Folded, the column is one button wide: the initial stands for the label.
        button->setText(folded ? label.left(1).toUpper() : label);
        button->setToolTip(label);
        button->setChecked(it.key() == current);
    }
}

void SideTree::chooseRoot(const QString& rootName)
{
    mobj()->cmobj(kCurRoot)->set(this, rootName);
    // A click on the root shown writes no change, but unchecked its button.
    refreshRootButtons();
}

} // namespace zarvo
