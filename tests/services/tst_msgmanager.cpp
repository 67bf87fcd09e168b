#include "services/msgmanager.h"

#include <QAbstractButton>
#include <QApplication>
#include <QtTest>

#include <functional>
#include <memory>

Q_DECLARE_METATYPE(QMessageBox::Icon)

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
    // The severity an operator reads off a box: a wrong title or icon is a false alarm or a
    // hidden one. The odd pairs (type 1 titled "Warning" with the information icon) are kept.
    void boxLook_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QMessageBox::Icon>("icon");
        QTest::addRow("unknown") << -1 << "Info!" << QMessageBox::NoIcon;
        QTest::addRow("1") << 1 << "Warning" << QMessageBox::Information;
        QTest::addRow("2") << 2 << "Information" << QMessageBox::Information;
        QTest::addRow("3") << 3 << "Question" << QMessageBox::Question;
        QTest::addRow("4") << 4 << "Warning!" << QMessageBox::Warning;
        QTest::addRow("5") << 5 << "Error!" << QMessageBox::Critical;
        QTest::addRow("6") << 6 << "ERROR" << QMessageBox::Critical;
        QTest::addRow("past the end") << 7 << "Info!" << QMessageBox::NoIcon;
    }

    void boxLook()
    {
        QFETCH(int, type);
        QWidget parent;
        std::unique_ptr<QMessageBox> box(MsgManager::buildMsgBox(&parent, MSG_TYPE(type), "body"));
        QTEST(box->windowTitle(), "title");
        QTEST(box->icon(), "icon");
    }

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
