#include "services/msgmanager.h"

#include <QAbstractButton>
#include <QApplication>
#include <QtTest>

#include <functional>
#include <memory>

Q_DECLARE_METATYPE(QMessageBox::Icon)

namespace {

// Written out rather than taken from the code: the look is fixed.
const char* const kStyle =
    "QMessageBox{border:2px solid rgb(218,221,223);background-color:rgb(255,255,255);}"
    "QPushButton:focus{outline: none;}"
    "QPushButton{padding:10px;min-width:100px;border:hide;background-color:rgb(51,51,51);"
    "color:rgb(255,255,255);}QPushButton:pressed{background-color:rgb(150,150,150);}";

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
    void boxLook_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QMessageBox::Icon>("icon");
        auto row = [](int type, const char* title, QMessageBox::Icon icon) {
            QTest::addRow("%d", type) << type << QString(title) << icon;
        };
        row(-1, "Info!", QMessageBox::NoIcon);
        row(0, "Info!", QMessageBox::NoIcon);
        row(1, "Warning", QMessageBox::Information);
        row(2, "Information", QMessageBox::Information);
        row(3, "Question", QMessageBox::Question);
        row(4, "Warning!", QMessageBox::Warning);
        row(5, "Error!", QMessageBox::Critical);
        row(6, "ERROR", QMessageBox::Critical);
        row(7, "Info!", QMessageBox::NoIcon);
    }

    void boxLook()
    {
        QFETCH(int, type);
        QFETCH(QString, title);
        QFETCH(QMessageBox::Icon, icon);
        QWidget parent;
        std::unique_ptr<QMessageBox> box(MsgManager::buildMsgBox(&parent, MSG_TYPE(type), "body"));
        QCOMPARE(box->windowTitle(), title);
        QCOMPARE(box->icon(), icon);
        QCOMPARE(box->text(), QString("body"));
        QVERIFY(!box->parentWidget());
        QCOMPARE(box->windowFlags(),
                 Qt::Dialog | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
        QCOMPARE(box->styleSheet(), QString(kStyle));
        QVERIFY(box->buttons().isEmpty());
    }

    void showMsgLabelsAndResult()
    {
        const QMap<QMessageBox::StandardButton, QString> labels{
            {QMessageBox::Ok, "OK"},          {QMessageBox::Cancel, "Cancel"},
            {QMessageBox::Save, "Save"},      {QMessageBox::Discard, "Discard"},
            {QMessageBox::Yes, "Yes"},        {QMessageBox::No, "No"},
            {QMessageBox::Retry, "Retry"},    {QMessageBox::Ignore, "Above"},
            {QMessageBox::Apply, "Below"},    {QMessageBox::Help, "Auxiliary point"},
            {QMessageBox::Reset, "End point"}};
        QMessageBox::StandardButtons all;
        QMap<QMessageBox::StandardButton, QString> seen;
        QString title = "not shown";
        for (auto button : labels.keys()) {
            all |= button;
        }
        onNextBox([&](QMessageBox* box) {
            for (auto button : labels.keys()) {
                seen.insert(button, box->button(button) ? box->button(button)->text() : "");
            }
            title = box->parentWidget() ? "has a parent" : box->windowTitle();
            if (QAbstractButton* reset = box->button(QMessageBox::Reset)) {
                reset->click();
            } else {
                box->reject();
            }
        });
        QWidget owner;
        QCOMPARE(MsgManager::showMsg(&owner, MSG_WARNING_ALERT, "careful", all, QMessageBox::Ok),
                 QMessageBox::Reset);
        QCOMPARE(seen, labels);
        QCOMPARE(title, QString("Warning!"));
    }
};

QTEST_MAIN(tst_MsgManager)

#include "tst_msgmanager.moc"
