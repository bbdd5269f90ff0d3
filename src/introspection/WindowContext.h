#pragma once

#include <QPointer>

#include <QCoroTask>

#include <functional>

// Weak references need the whole types.
#include "app/AppStateStore.h"
#include "app/ConfigService.h"
#include "daemon/DaemonProcess.h"
#include "daemon/DaemonService.h"
#include "questions/QuestionService.h"
#include "registry/DatabaseService.h"

namespace mnemora {

// What one window shows, held weakly: a closed window leaves a context whose fields read as gone,
// and each route checks what it needs.
struct WindowContext {
    QPointer<AppStateStore> appState;
    QPointer<DatabaseService> database;
    QPointer<DaemonService> daemon;
    QPointer<DaemonProcess> daemonProcess;
    QPointer<QuestionService> questionService;
    QPointer<ConfigService> config;
    QPointer<QObject> photoWriter;
    // The vault's runtime, for a vault window; none for the primary.
    QPointer<QObject> runtime;
    // Brings a vault's stack back when its daemon has gone, before a request is relayed to it.
    std::function<QCoro::Task<>()> reviveIfNeeded;

    // A vault window's context whose runtime has gone.
    bool isGone() const { return !appState; }
};

} // namespace mnemora
