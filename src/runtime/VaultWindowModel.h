#pragma once

#include <QObject>
#include <QPointer>
#include <QString>

#include <QCoroTask>

#include <chrono>

#include "runtime/VaultRuntime.h"

namespace mnemora {

class VaultManager;

// The window that hosts one vault, as a model: it shows "Opening vault…" until its runtime has
// started, then the same root content as the primary window over the vault's own services.
class VaultWindowModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool started READ started NOTIFY startedChanged)
    Q_PROPERTY(QString statusText READ statusText NOTIFY startedChanged)

public:
    // How long a vault window waits for the primary window before opening it itself.
    static constexpr std::chrono::milliseconds kMainWindowGrace{3000};

    VaultWindowModel(VaultManager& manager, const QString& vaultPath, QObject* parent = nullptr);

    const QString& vaultPath() const { return vaultPath_; }
    VaultRuntime* runtime() const { return runtime_; }
    bool started() const { return started_; }
    QString statusText() const;

    // The platform identifier the window tags itself with.
    QString windowTag() const;
    static QString primaryWindowTag();

    // The window's start-up task: the runtime, its start, then the content.
    QCoro::Task<> appear(std::chrono::milliseconds mainWindowGrace = kMainWindowGrace);

    // A process-wide record that the primary window has appeared in this launch, so a restored
    // vault window never leaves the application without it.
    static void markMainAppeared();
    static bool mainHasAppeared();
    static void resetMainAppearedForTesting();

signals:
    void startedChanged();

private:
    static QCoro::Task<> openMainUnlessItAppears(QPointer<VaultWindowModel> self,
                                                 std::chrono::milliseconds grace);

    VaultManager& manager_;
    QString vaultPath_;
    QPointer<VaultRuntime> runtime_;
    bool started_ = false;
};

} // namespace mnemora
