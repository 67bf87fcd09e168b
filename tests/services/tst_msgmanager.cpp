#include "services/msgmanager.h"

#include <QAbstractButton>
#include <QApplication>
#include <QtTest>

#include <functional>
#include <memory>

namespace {

// Acts on the modal box that the next exec() shows; gives up after five seconds.
void onNextBox(std::function<void(QMessageBox*)> action, int tries = 1000)
{
    QTimer::singleShot(5, [=] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (box && box->isVisible()) {
            action(box);
        } else if (tries > 0) {
            onNextBox(action, tries - 1);
        }
    });
}

} // namespace

class tst_MsgManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // The operator's answer comes back, from a box that stays on top without a
    // parent to hide behind, with this HMI's labels where Qt's differ.
    void showMsgReturnsTheClickedButton()
    {
        QString seen = "not shown";
        onNextBox([&](QMessageBox* box) {
            seen = QStringList{box->parentWidget() ? "parent" : box->windowTitle(),
                               box->button(QMessageBox::Ignore)->text(),
                               box->button(QMessageBox::Reset)->text()}
                       .join('|');
            box->button(QMessageBox::Reset)->click();
        });
        QWidget owner;
        const auto buttons = QMessageBox::Ok | QMessageBox::Ignore | QMessageBox::Reset;
        QCOMPARE(
            MsgManager::showMsg(&owner, MSG_WARNING_ALERT, "careful", buttons, QMessageBox::Ok),
            QMessageBox::Reset);
        QCOMPARE(seen, QString("Warning!|Above|End point"));
        std::unique_ptr<QMessageBox> box(MsgManager::buildMsgBox(&owner, MSG_ERROR, "x"));
        QVERIFY(!box->parentWidget() && box->windowFlags() & Qt::WindowStaysOnTopHint);
    }
};

QTEST_MAIN(tst_MsgManager)

#include "tst_msgmanager.moc"
