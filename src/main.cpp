#include <QApplication>
#include <QCoreApplication>

#include <memory>

#include "app/Brand.h"
#include "app/Entry.h"
#include "app/Log.h"
#include "platform/AllocatorTuning.h"
#include "platform/BundleInfo.h"
#include "platform/TerminationSignals.h"
#include "runtime/AppDelegate.h"
#include "runtime/MnemoraApp.h"
#include "runtime/VaultManager.h"
#include "ui/DesktopShell.h"
#include "ui/Display.h"

int main(int argc, char** argv) {
    using namespace mnemora;

    // The same executable answers the daemon's command-line words by becoming the daemon.
    if (const auto status =
            Entry::dispatch(argc, argv, BundleInfo::executableFolder().toStdString())) {
        return *status;
    }

    // Every save of a long synced document frees and rebuilds megabytes of blocks; keep them at
    // hand for the next one rather than faulting them in again.
    keepFreedMemoryForReuse();

    // Qt's windowing needs a display to connect to and aborts without one, so a machine with
    // none (a server, a test run) gets the application without windows rather than a crash.
    const bool windows = Display::available();
    std::unique_ptr<QCoreApplication> application =
        windows ? std::make_unique<QApplication>(argc, argv)
                : std::make_unique<QCoreApplication>(argc, argv);
    QCoreApplication::setApplicationName(appDisplayName());
    QCoreApplication::setOrganizationDomain(bundleIdentifier());
    if (windows) {
        // Desktops match a window to its menu entry (icon, name, pinning) by this name.
        QGuiApplication::setDesktopFileName(BundleInfo::main().desktopEntry);
    }

    MnemoraApp app;
    TerminationSignals terminationSignals;
    QObject::connect(&terminationSignals, &TerminationSignals::terminationRequested,
                     application.get(), &QCoreApplication::quit);
    QObject::connect(application.get(), &QCoreApplication::aboutToQuit, &app.appDelegate(),
                     &AppDelegate::applicationWillTerminate);

    std::unique_ptr<DesktopShell> desktop;
    if (windows) {
        desktop = std::make_unique<DesktopShell>(app, VaultManager::shared());
        desktop->start();
    } else {
        Log::line(QStringLiteral("MnemoraApp"), Display::absentNotice());
    }
    app.launch();
    const int status = QCoreApplication::exec();
    desktop.reset();
    return status;
}
