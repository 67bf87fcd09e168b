#include "controller/connectcommand.h"

#include "controller/controllermanager.h"
#include "module/managerhelper.h"
#include "settings/settingmanager.h"

#include <QHostAddress>
#include <QJsonObject>
#include <QRegularExpression>

namespace {

// Only a literal address: a typo such as 999.1.1.1 must not be saved and
// then tried at every start. Qt alone would also take "10.1" or "167772161".
bool isAddressLiteral(const QString& ip)
{
    static const QRegularExpression ipv4(QStringLiteral(
        "^((25[0-5]|2[0-4]\\d|1\\d\\d|[1-9]?\\d)\\.){3}(25[0-5]|2[0-4]\\d|1\\d\\d|[1-9]?\\d)$"));
    if (ipv4.match(ip).hasMatch()) {
        return true;
    }
    QHostAddress address;
    return ip.contains(QLatin1Char(':')) && address.setAddress(ip) &&
           address.protocol() == QAbstractSocket::IPv6Protocol;
}

} // namespace

ConnectCommand::ConnectCommand(ControllerManager* manager)
    : velk::BaseCommand(QStringLiteral("rc.connect"), true, manager)
    , m_manager(manager)
{
}

QString ConnectCommand::usage() const
{
    return velk::BaseCommand::tr("rc.connect [-ip=<ip> -port=<port>]");
}

QString ConnectCommand::description() const
{
    return velk::BaseCommand::tr("Try to connect to controller");
}

void ConnectCommand::execute(const QString& args)
{
    if (args.trimmed().isEmpty()) {
        m_manager->connectToRC(true, false);
        return;
    }
    QString ip;
    const int ipAt = args.indexOf(QLatin1String("-ip="));
    if (ipAt >= 0) {
        ip = args.mid(ipAt + 4).section(QLatin1Char(' '), 0, 0);
    }
    // Everything after "-port=" is the number, which is why it comes last.
    int port = 0;
    const int portAt = args.indexOf(QLatin1String("-port="));
    if (portAt >= 0) {
        port = args.mid(portAt + 6).trimmed().toInt();
    }
    if (!isAddressLiteral(ip) || port < 1 || port > 65535) {
        error(velk::BaseCommand::tr("invalid ip or port specified"));
        return;
    }
    QJsonObject server;
    server.insert(QStringLiteral("ip"), ip);
    server.insert(QStringLiteral("port"), port);
    setting()->set(QStringLiteral("server"), server);
    m_manager->connectToRC(true, false);
}
