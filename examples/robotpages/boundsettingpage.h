#pragma once

#include <zarvo/basesettingpage.h>

#include <QJsonObject>

namespace robotpages {

// A setting page whose values live on the controller: its object
// "robotpages.<name>" is filled from the answer to `getter` and sent as
// `setter` after each save; the controller's answer stamps the page or,
// when it refuses, brings its values back.
class BoundSettingPage : public zarvo::BaseSettingPage
{
    Q_OBJECT

public:
    BoundSettingPage(const QString& name, const QString& label, const QString& getter,
                     const QString& setter, const QJsonObject& defaults, QObject* parent);
    ~BoundSettingPage() override;

    void init() override;
    // The setting-page rules and the robot pages' own, so that the frame the
    // core module paints white follows the theme like the other pages.
    void render() override;

private:
    // Binds the object to the controller's answers (the catalogue exists from
    // the link's init on) and watches the content's inputs.
    void bindInputs();

    void loadFromRC() override;

    QString m_getter;
    QString m_setter;
    QJsonObject m_defaults;
    // The origin of the controller's writes, apart from the page, so that the
    // page's own saves are sent and the controller's answers are not.
    QObject m_binder;
};

} // namespace robotpages
