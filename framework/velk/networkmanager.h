#pragma once

#include "velk_global.h"
#include "networkchannel.h"

#include <QObject>
#include <QStringList>

namespace velk {

class NetworkObject;

// The registry of named JSON channels.
class VELK_EXPORT NetworkManager : public QObject
{
    Q_OBJECT

public:
    static NetworkManager& instance();
    ~NetworkManager() override;

    // Create the channel. A UDP channel binds at once, with address sharing so
    // that two processes on one host can listen on the port; a bind failure is
    // logged and leaves the channel registered but unbound (isBound() false).
    // False when the name is empty or already registered.
    bool regist(const QString& name, NetworkType type, const NetworkChannel& channel);
    // Close and delete the channel; false when unknown.
    bool cancel(const QString& name);

    bool has(const QString& name) const;
    // Never null: NetworkObject::invalid() for unknown names.
    NetworkObject* channel(const QString& name) const;
    QStringList names() const;

private:
    NetworkManager();
    Q_DISABLE_COPY(NetworkManager)

    class Private;
    Private* d;
};

} // namespace velk
