#include "ui/FirstRunWiring.h"

#include <QCoreApplication>
#include <QSettings>

#include "app/AppStateStore.h"
#include "app/ConfigService.h"
#include "app/UserDefaults.h"
#include "cloud/RecordStoreSettings.h"
#include "platform/TerminalLauncher.h"
#include "setup/FirstRunView.h"
#include "ui/WindowServices.h"
#include "voice/AudioRecorder.h"

namespace mnemora::FirstRunWiring {

FirstRunView* make(const WindowServices& services, QObject* parent) {
    if (!services.isPrimary() || !services.appState) {
        return nullptr;
    }
    FirstRunView::Services wired;
    wired.appState = services.appState;
    wired.config = services.config;
    wired.daemon = services.daemon;
    wired.terminal = new TerminalLauncher(parent);
    if (services.config) {
        wired.vault = services.config->vaultRoot();
        wired.identity = services.config->activeIdentityId().value_or(QStringLiteral("default"));
    }
    auto* view = new FirstRunView(brand(), wired, parent);
    // No prompt here: the microphone is granted when one is there and opens.
    view->setMicGranted(AudioRecorder::make()->authorizationStatus() == MicStatus::authorized);
    // A phone can answer only through the record store the two share.
    const QSettings defaults(UserDefaults().filePath(), QSettings::IniFormat);
    view->setPhoneOffer(RecordStoreSettings::read(defaults).isConfigured());

    AppStateStore* state = services.appState;
    const auto presentIfAsked = [view, state] {
        if (state->showOnboarding() && !view->isPresented()) {
            view->present();
        }
    };
    QObject::connect(state, &AppStateStore::showOnboardingChanged, view, presentIfAsked);
    QObject::connect(view, &FirstRunView::quitRequested, qApp, &QCoreApplication::quit,
                     Qt::QueuedConnection);
    presentIfAsked();
    return view;
}

} // namespace mnemora::FirstRunWiring
