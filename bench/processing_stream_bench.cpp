// `asset-status-updated` events from a loopback server through the shared event stream reader
// and into the processing store. Targets: at least 100,000 events per second, and the store's
// observable status changing at most once per 100 ms window however many events arrive.

#include "daemon/DaemonService.h"
#include "daemon/EventStreamReader.h"
#include "daemon/ProcessingStore.h"

#include <QCoreApplication>

#include "RunBenchmarks.h"
#include <QElapsedTimer>
#include <QFile>
#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QThread>

#include <benchmark/benchmark.h>

#include <algorithm>

namespace {

using mnemora::DaemonService;
using mnemora::EventStreamReader;
using mnemora::ProcessingStore;

constexpr int kEvents = 200'000;
constexpr int kPaths = 500;

// A daemon's `progress` stream: answers every request with an open event stream and writes
// what it is given to every open one.
class StreamServer {
public:
    StreamServer() {
        server_.listen(QHostAddress::LocalHost, 0);
        QObject::connect(&server_, &QTcpServer::newConnection, [this] {
            while (QTcpSocket* socket = server_.nextPendingConnection()) {
                QObject::connect(socket, &QTcpSocket::readyRead, [this, socket] {
                    if (socket->readAll().contains("\r\n\r\n")) {
                        socket->write("HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\n"
                                      "Connection: keep-alive\r\n\r\n");
                        streams_ << socket;
                    }
                });
            }
        });
    }
    quint16 port() const { return server_.serverPort(); }
    bool hasStream() const { return !streams_.isEmpty(); }
    void send(const QByteArray& bytes) {
        for (QTcpSocket* socket : std::as_const(streams_)) {
            socket->write(bytes);
        }
    }

private:
    QTcpServer server_;
    QList<QTcpSocket*> streams_;
};

QByteArray burst(int round) {
    QByteArray bytes;
    bytes.reserve(kEvents * 190);
    for (int i = 0; i < kEvents; ++i) {
        const bool last = i == kEvents - 1;
        bytes += "data: {\"event\": \"asset-status-updated\", \"payload\": {\"file_path\": "
                 "\"/vault/Media/voice/memo-" +
                 QByteArray::number(last ? -1 : i % kPaths) +
                 ".m4a\", \"item_type\": \"audio\", \"status\": \"segment_" +
                 QByteArray::number(round) +
                 "\", \"progress_percent\": " + QByteArray::number(i % 100) + "}}\n";
    }
    return bytes;
}

template <typename Condition> void turnUntil(Condition condition) {
    while (!condition()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    }
}

void BM_ReaderOverLoopback(benchmark::State& state) {
    StreamServer server;
    EventStreamReader reader;
    qint64 seen = 0;
    EventStreamReader::Request request;
    request.url = QUrl(QStringLiteral("http://127.0.0.1:%1/progress").arg(server.port()));
    auto task = reader.read(request, [&seen](const QJsonObject&) {
        ++seen;
        return EventStreamReader::Next::keepReading;
    });
    turnUntil([&] { return server.hasStream(); });
    int round = 0;
    for (auto _ : state) {
        state.PauseTiming();
        const QByteArray bytes = burst(++round);
        const qint64 target = seen + kEvents;
        state.ResumeTiming();
        server.send(bytes);
        turnUntil([&] { return seen >= target; });
    }
    state.counters["events_per_s"] =
        benchmark::Counter(static_cast<double>(kEvents) * static_cast<double>(state.iterations()),
                           benchmark::Counter::kIsRate);
    reader.abort();
}
BENCHMARK(BM_ReaderOverLoopback)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);

void BM_StoreOverLoopback(benchmark::State& state) {
    QTemporaryDir cache;
    StreamServer server;
    QFile portFile(cache.path() + QStringLiteral("/daemon.port"));
    portFile.open(QIODevice::WriteOnly);
    portFile.write(QByteArray::number(server.port()));
    portFile.close();
    DaemonService daemon;
    daemon.setCacheDirOverride(cache.path());
    ProcessingStore store;
    store.setDaemon(&daemon);
    QElapsedTimer clock;
    clock.start();
    QList<qint64> changes; // when `statusByPath` changed, ms
    QObject::connect(&store, &ProcessingStore::statusByPathChanged,
                     [&] { changes << clock.elapsed(); });
    store.start();
    turnUntil([&] { return server.hasStream(); });

    const QString lastPath = QStringLiteral("/vault/Media/voice/memo--1.m4a");
    int round = 0;
    for (auto _ : state) {
        state.PauseTiming();
        const QByteArray bytes = burst(++round);
        const QString done = QStringLiteral("segment_%1").arg(round);
        state.ResumeTiming();
        server.send(bytes);
        // Includes up to one coalescing window after the last event: a conservative figure.
        turnUntil([&] { return store.statusByPath().value(lastPath).status == done; });
    }
    qint64 minimumGap = std::numeric_limits<qint64>::max();
    for (qsizetype i = 1; i < changes.size(); ++i) {
        minimumGap = std::min(minimumGap, changes[i] - changes[i - 1]);
    }
    state.counters["events_per_s"] =
        benchmark::Counter(static_cast<double>(kEvents) * static_cast<double>(state.iterations()),
                           benchmark::Counter::kIsRate);
    state.counters["status_changes"] = static_cast<double>(changes.size());
    state.counters["min_ms_between_changes"] = static_cast<double>(minimumGap);
    state.counters["entries"] = static_cast<double>(store.statusByPath().size());
    store.stop();
}
BENCHMARK(BM_StoreOverLoopback)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);

} // namespace

int main(int argc, char** argv) {
    return runBenchmarks<QCoreApplication>(argc, argv);
}
