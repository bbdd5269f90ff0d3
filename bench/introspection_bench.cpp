// How fast scripts are answered: GET /state over real loopback HTTP, and a screenshot of the
// main window, both against the real shell on the offscreen platform.
#include <benchmark/benchmark.h>

#include <QApplication>
#include <QDeadlineTimer>
#include <QTcpSocket>

#include <memory>

#include "app/Brand.h"
#include "introspection/IntrospectionServer.h"
#include "runtime/MnemoraApp.h"
#include "ui/UiFixture.h"

namespace {

mnemora::test::UiFixture* shell = nullptr;

// One request on its own connection, read to the server's close; false when it failed.
bool fetch(int port, const QByteArray& target) {
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, static_cast<quint16>(port));
    socket.write("GET " + target + " HTTP/1.1\r\nHost: 127.0.0.1:" + QByteArray::number(port) +
                 "\r\n\r\n");
    QByteArray reply;
    QDeadlineTimer deadline(10'000);
    while (socket.state() != QAbstractSocket::UnconnectedState && !deadline.hasExpired()) {
        // The server answers from this thread, so the loop must turn while we wait.
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        reply += socket.readAll();
    }
    reply += socket.readAll();
    return reply.startsWith("HTTP/1.1 200 OK");
}

int port() {
    return *shell->app().introspection().port();
}

void stateRequests(benchmark::State& state) {
    for (auto _ : state) {
        if (!fetch(port(), "/state")) {
            state.SkipWithError("GET /state failed");
            break;
        }
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(stateRequests)->UseRealTime();

void screenshotOfTheMainWindow(benchmark::State& state) {
    for (auto _ : state) {
        if (!fetch(port(), "/screenshot")) {
            state.SkipWithError("GET /screenshot failed");
            break;
        }
    }
}
BENCHMARK(screenshotOfTheMainWindow)->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    mnemora::test::prepareOffscreenEnvironment();
    QApplication application(argc, argv);
    auto fixture = std::make_unique<mnemora::test::UiFixture>(mnemora::Brand::mnemora, true);
    fixture->start();
    shell = fixture.get();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
