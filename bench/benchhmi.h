#pragma once

// What the link benchmarks share: the process set-up, waiting on the event
// loop, the plug-in started against a controller on loopback, and the
// framing of the bare Qt consumer they compare the link with.

#include <QByteArray>
#include <QJsonDocument>
#include <QString>

#include <functional>

class QObject;
class QTemporaryDir;

namespace benchhmi {

// Before QApplication: offscreen unless the caller chose a platform, debug
// lines off, discovery rounds kept on loopback.
void prepare();

// Runs the event loop until `done` holds or `ms` pass; false on time-out.
bool waitFor(const std::function<bool()>& done, qint64 ms, int pollMs = 2);

struct Ports
{
    quint16 tcp = 0;
    quint16 discovery = 0;
    quint16 upgrade = 0;
};

// In `dir`, made the working directory: settings that point the link at
// `ports`, the plug-in started under `owner`, its connect and the runtime's
// first queries answered. False with `error` set when any of it fails.
bool startHmi(const QTemporaryDir& dir, const Ports& ports, QObject* owner, QString* error);

// The bare consumer: cuts `buffer` at line breaks, parses every whole line
// with QJsonDocument and hands it to `each`; the unfinished tail stays.
template <typename Each>
void parseLines(QByteArray& buffer, Each each)
{
    int from = 0;
    int end;
    while ((end = buffer.indexOf('\n', from)) >= 0) {
        each(QJsonDocument::fromJson(
            QByteArray::fromRawData(buffer.constData() + from, end - from)));
        from = end + 1;
    }
    buffer.remove(0, from);
}

} // namespace benchhmi
