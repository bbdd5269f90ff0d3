#include <QCoreApplication>

#include "app/Brand.h"
#include "app/Entry.h"
#include "platform/BundleInfo.h"
#include "platform/TerminationSignals.h"
#include "runtime/AppDelegate.h"
#include "runtime/MnemoraApp.h"

int main(int argc, char** argv) {
    using namespace mnemora;

    // The same executable answers the daemon's command-line words by becoming the daemon.
    if (const auto status =
            Entry::dispatch(argc, argv, platform::BundleInfo::executableFolder().toStdString())) {
        return *status;
    }

    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(appDisplayName());
    QCoreApplication::setOrganizationDomain(bundleIdentifier());

    MnemoraApp app;
    platform::TerminationSignals terminationSignals;
    QObject::connect(&terminationSignals, &platform::TerminationSignals::terminationRequested,
                     &application, &QCoreApplication::quit);
    QObject::connect(&application, &QCoreApplication::aboutToQuit, &app.appDelegate(),
                     &AppDelegate::applicationWillTerminate);

    app.launch();
    return QCoreApplication::exec();
}
