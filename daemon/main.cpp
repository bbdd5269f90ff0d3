// The reference daemon: indexes a vault, serves the application's HTTP interface on loopback and
// transcribes speech. Its log goes to standard output, which the application keeps in its log.
#include <QCoreApplication>
#include <QSocketNotifier>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <sys/socket.h>
#include <unistd.h>

#include "DaemonPlaces.h"
#include "DaemonServer.h"
#include "app/Brand.h"

namespace {

int signalPipe[2] = {-1, -1};

void onSignal(int) {
    const char byte = 1;
    [[maybe_unused]] const auto written = ::write(signalPipe[1], &byte, 1);
}

int usage(const char* word) {
    std::fprintf(stderr, "%s is not available in this daemon. Commands: daemon, --version\n", word);
    return 2;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const QString name =
        mnemora::BrandProfile::name(mnemora::brand()).toLower() + QStringLiteral("-daemon");
    if (argc < 2) {
        return usage("(no command)");
    }
    const char* word = argv[1];
    if (std::strcmp(word, "--version") == 0 || std::strcmp(word, "-V") == 0) {
        std::printf("%s %s\n", qPrintable(name),
                    qPrintable(mnemora::refdaemon::DaemonServer::version()));
        return 0;
    }
    if (std::strcmp(word, "help") == 0 || std::strcmp(word, "--help") == 0 ||
        std::strcmp(word, "-h") == 0) {
        std::printf("%s daemon | --version\n", qPrintable(name));
        return 0;
    }
    if (std::strcmp(word, "daemon") != 0) {
        return usage(word);
    }

    // SIGTERM and SIGINT end the event loop, so the port file goes and the log is complete.
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, signalPipe) != 0) {
        return 1;
    }
    std::signal(SIGTERM, onSignal);
    std::signal(SIGINT, onSignal);
    QSocketNotifier notifier(signalPipe[0], QSocketNotifier::Read);
    QObject::connect(&notifier, &QSocketNotifier::activated, &app, &QCoreApplication::quit);

    mnemora::refdaemon::DaemonServer server(mnemora::refdaemon::DaemonPlaces::fromEnvironment());
    if (!server.start()) {
        return 1;
    }
    const int code = app.exec();
    server.stop();
    return code;
}
