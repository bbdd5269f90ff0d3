#include "runtime/AppDelegate.h"

#include "app/Log.h"

namespace mnemora {

AppDelegate::AppDelegate(QObject* parent)
    : QObject(parent) {}

void AppDelegate::applicationDidFinishLaunching() {
    Log::line(QStringLiteral("AppDelegate"), QStringLiteral("application did finish launching"));
}

void AppDelegate::applicationWillTerminate() {
    // Quit can be reached twice (a signal during aboutToQuit); the order runs once.
    if (terminated_) {
        return;
    }
    terminated_ = true;
    Log::line(QStringLiteral("AppDelegate"), QStringLiteral("application will terminate"));
    emit willTerminate();
}

} // namespace mnemora
