#include "ingestbench.h"

#include "benchhmi.h"
#include "benchstats.h"
#include "latenessprobe.h"

#include "controller/controllermanager.h"
#include "module/managerhelper.h"
#include "services/modulelog.h"

#include <velk/moduleobject.h>
#include <velk/networkhandle.h>
#include <velk/networkobject.h>
#include <velk/velk.h>

#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QTcpSocket>
#include <QTimer>

#include <fcntl.h>
#include <unistd.h>

namespace {

// Standard error to /dev/null while it lives: debug lines are formatted and
// written, but no terminal's speed is measured.
class ErrorsToNull
{
public:
    explicit ErrorsToNull(bool on)
    {
        if (!on) {
            return;
        }
        std::fflush(stderr);
        m_saved = ::dup(STDERR_FILENO);
        const int null = ::open("/dev/null", O_WRONLY);
        if (m_saved >= 0 && null >= 0) {
            ::dup2(null, STDERR_FILENO);
        }
        if (null >= 0) {
            ::close(null);
        }
    }
    ~ErrorsToNull()
    {
        if (m_saved >= 0) {
            std::fflush(stderr);
            ::dup2(m_saved, STDERR_FILENO);
            ::close(m_saved);
        }
    }

private:
    int m_saved = -1;
};

// Counts the pose notifications that went the whole way into the tree.
class MonitorCounter
{
public:
    explicit MonitorCounter(QObject* context)
        : m_monitor(rc()->cmdMobj(QStringLiteral("motion.move.monitor")))
    {
        m_clock.start();
        m_connection = QObject::connect(m_monitor, &velk::ModuleObject::activated, context,
                                        [this](velk::ModuleObject* target, int type) {
                                            if (target != m_monitor || type != velk::ActivateData) {
                                                return;
                                            }
                                            last = m_clock.nsecsElapsed();
                                            if (count++ == 0) {
                                                first = last;
                                            }
                                        });
    }
    ~MonitorCounter() { QObject::disconnect(m_connection); }
    double rate() const
    {
        return count > 1 && last > first ? double(count - 1) * 1e9 / double(last - first) : 0;
    }

    qint64 count = 0;
    qint64 first = 0;
    qint64 last = 0;

private:
    velk::ModuleObject* m_monitor;
    QElapsedTimer m_clock;
    QMetaObject::Connection m_connection;
};

bool heartbeat()
{
    velk::ModuleObject* answer = rc()->execRequest(
        QStringLiteral("system"), QStringLiteral("controller.heart"), QJsonValue(), false);
    return !answer->isEmptyMobj() &&
           answer->cmobj(QStringLiteral("name"), false)->getString() == QLatin1String("Zarvo");
}

int countInLog(const QString& text, qint64 from)
{
    QFile file(QStringLiteral("log/zarvo.log"));
    if (!file.open(QIODevice::ReadOnly) || !file.seek(from)) {
        return 0;
    }
    return QString::fromUtf8(file.readAll()).count(text);
}

qint64 logSize()
{
    return QFile(QStringLiteral("log/zarvo.log")).size();
}

} // namespace

IngestBench::IngestBench(QObject* parent)
    : QObject(parent)
{
}

IngestBench::~IngestBench() = default;

bool IngestBench::start()
{
    if (!m_peer.start()) {
        m_error = QStringLiteral("the peer cannot listen on loopback");
        return false;
    }
    m_discovery.bind(QHostAddress::LocalHost, 0);
    return benchhmi::startHmi(m_dir, {m_peer.port(), m_discovery.localPort(), m_peer.port()}, this,
                              &m_error);
}

bool IngestBench::settle(int ms)
{
    return benchhmi::waitFor([this] { return !m_peer.busy(); }, ms) && heartbeat();
}

double IngestBench::hmiRate(qint64 count, bool debug)
{
    velk::NetworkHandle* handle = velk::net(QStringLiteral("rc_tcp"))->handle();
    const velk::NetworkHandle::CoalesceKey key = handle->coalesceKey();
    handle->setCoalesceKey(nullptr);
    zarvo::setDebugLogEnabled(debug);
    double rate = 0;
    {
        ErrorsToNull quiet(debug);
        MonitorCounter counter(this);
        m_peer.burst(FloodPeer::Hmi, count);
        if (benchhmi::waitFor([&] { return counter.count >= count; }, 20000 + count / 10)) {
            rate = counter.rate();
        }
    }
    zarvo::setDebugLogEnabled(false);
    handle->setCoalesceKey(key);
    return settle(20000) ? rate : 0;
}

double IngestBench::floorRate(qint64 count)
{
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, m_peer.port());
    if (!socket.waitForConnected(5000)) {
        return 0;
    }
    socket.write("{\"floor\":true}\n");
    if (!benchhmi::waitFor([this] { return m_peer.hasFloor(); }, 5000)) {
        return 0;
    }
    QByteArray buffer;
    qint64 received = 0;
    qint64 first = 0;
    qint64 last = 0;
    QElapsedTimer clock;
    clock.start();
    connect(&socket, &QTcpSocket::readyRead, this, [&] {
        buffer += socket.readAll();
        benchhmi::parseLines(buffer, [&](const QJsonDocument& doc) {
            if (doc.isObject() && !doc.object().isEmpty()) {
                last = clock.nsecsElapsed();
                if (received++ == 0) {
                    first = last;
                }
            }
        });
    });
    m_peer.burst(FloodPeer::Floor, count);
    const bool complete = benchhmi::waitFor([&] { return received >= count; }, 20000 + count / 10);
    socket.disconnectFromHost();
    benchhmi::waitFor([this] { return !m_peer.hasFloor(); }, 5000);
    if (!complete || received < 2 || last <= first) {
        return 0;
    }
    return double(received - 1) * 1e9 / double(last - first);
}

IngestBench::Flood IngestBench::flood(qint64 count)
{
    Flood f;
    zarvo::setDebugLogEnabled(false);
    if (!settle(20000)) {
        return f;
    }
    const qint64 logFrom = logSize();
    f.idleRssKib = benchstats::rssKib();
    const bool peakKept = benchstats::resetPeakRss();
    qint64 sampledPeak = f.idleRssKib;
    QTimer sampler;
    if (!peakKept) {
        connect(&sampler, &QTimer::timeout, this,
                [&] { sampledPeak = std::max(sampledPeak, benchstats::rssKib()); });
        sampler.start(10);
    }

    QVector<double> beats;
    bool beating = false;
    QTimer beat;
    connect(&beat, &QTimer::timeout, this, [&] {
        if (beating || !m_peer.busy()) {
            return;
        }
        beating = true;
        QElapsedTimer clock;
        clock.start();
        if (heartbeat()) {
            beats.append(clock.nsecsElapsed() / 1e6);
        } else {
            ++f.heartbeatsFailed;
        }
        beating = false;
    });

    LatenessProbe probe;
    MonitorCounter counter(this);
    QElapsedTimer clock;
    clock.start();
    probe.start();
    beat.start(250);
    m_peer.burst(FloodPeer::Hmi, count);
    f.complete = benchhmi::waitFor([this] { return !m_peer.busy(); }, 60000 + count / 5);
    beat.stop();
    f.complete = f.complete && heartbeat();
    f.seconds = clock.nsecsElapsed() / 1e9;
    probe.stop();
    sampler.stop();

    f.delivered = counter.count;
    f.peakRssKib = peakKept ? benchstats::peakRssKib() : sampledPeak;
    f.heartbeats = beats.size();
    f.heartbeatMedianMs = benchstats::percentile(beats, 0.5);
    f.heartbeatMaxMs = benchstats::percentile(beats, 1.0);
    f.dying = countInLog(QStringLiteral("controller dying"), logFrom);
    f.lateP50 = probe.p50();
    f.lateP99 = probe.p99();
    f.lateMax = probe.max();
    return f;
}

IngestBench::Stream IngestBench::stream(int hertz, qint64 count)
{
    Stream s;
    zarvo::setDebugLogEnabled(false);
    if (!settle(20000)) {
        return s;
    }
    LatenessProbe probe;
    MonitorCounter counter(this);
    probe.start();
    m_peer.stream(FloodPeer::Hmi, hertz, count);
    s.complete =
        benchhmi::waitFor([this] { return !m_peer.busy(); }, 10000 + count * 4000 / hertz) &&
        heartbeat();
    probe.stop();
    s.delivered = counter.count;
    s.lateP50 = probe.p50();
    s.lateP99 = probe.p99();
    s.lateMax = probe.max();
    return s;
}

IngestBench::Stream IngestBench::idle(int ms)
{
    Stream s;
    LatenessProbe probe;
    probe.start();
    benchhmi::waitFor([] { return false; }, ms);
    probe.stop();
    s.complete = true;
    s.lateP50 = probe.p50();
    s.lateP99 = probe.p99();
    s.lateMax = probe.max();
    return s;
}
