#pragma once

#include <QPointer>

#include <chrono>
#include <optional>

#include "app/CancellableLoop.h"
#include "daemon/DaemonEndpoints.h"
#include "daemon/GpuSchedulerSnapshot.h"
#include "daemon/ProcessingScreen.h"
#include "ui/ScreenModel.h"

namespace mnemora {

// Processing: what the daemon is working on, why items are being skipped, how the daemon is held,
// and the maintenance jobs. The scheduler is polled only while the screen shows.
class ProcessingModel : public ScreenModel {
    Q_OBJECT
    Q_PROPERTY(QString bannerTitle READ bannerTitle NOTIFY schedulerChanged)
    Q_PROPERTY(QString bannerText READ bannerText NOTIFY schedulerChanged)
    Q_PROPERTY(QString bannerActionTitle READ bannerActionTitle NOTIFY schedulerChanged)
    Q_PROPERTY(bool bannerActionEnabled READ bannerActionEnabled NOTIFY daemonChanged)
    Q_PROPERTY(QString schedulerLine READ schedulerLine NOTIFY schedulerChanged)
    Q_PROPERTY(QString swiftLmNote READ swiftLmNote NOTIFY storeChanged)
    Q_PROPERTY(QString indexRebuildStatus READ indexRebuildStatus NOTIFY storeChanged)
    Q_PROPERTY(double indexRebuildProgress READ indexRebuildProgress NOTIFY storeChanged)
    Q_PROPERTY(bool indexRebuildBusy READ indexRebuildBusy NOTIFY storeChanged)
    Q_PROPERTY(bool entityGenerationBusy READ entityGenerationBusy NOTIFY storeChanged)
    Q_PROPERTY(QStringList activity READ activity NOTIFY storeChanged)
    Q_PROPERTY(QString daemonRowText READ daemonRowText NOTIFY daemonChanged)
    Q_PROPERTY(QString controlsNote READ controlsNote NOTIFY daemonChanged)
    Q_PROPERTY(bool controlsEnabled READ controlsEnabled NOTIFY daemonChanged)
    Q_PROPERTY(bool processingActive READ processingActive NOTIFY daemonChanged)

public:
    static constexpr std::chrono::milliseconds kSchedulerPoll{5'000};
    static constexpr int kActivityLines = 5;

    ProcessingModel(const WindowServices& services, QObject* parent = nullptr);

    QString bannerTitle() const { return banner_ ? banner_->title : QString(); }
    QString bannerText() const { return banner_ ? banner_->text : QString(); }
    QString bannerActionTitle() const;
    // A restart is off, like the daemon's own buttons, for a daemon managed elsewhere.
    bool bannerActionEnabled() const;
    QString schedulerLine() const;
    QString swiftLmNote() const;
    QString indexRebuildStatus() const;
    double indexRebuildProgress() const; // -1 while no rebuild reports one
    bool indexRebuildBusy() const;
    bool entityGenerationBusy() const;
    const QStringList& activity() const { return activity_; }
    QString daemonRowText() const;
    QString controlsNote() const;
    bool controlsEnabled() const;
    bool processingActive() const;

    Q_INVOKABLE void performBannerAction();
    Q_INVOKABLE void startProcessing();
    Q_INVOKABLE void stopProcessing();
    Q_INVOKABLE void restartDaemon();
    // `kind` is "audio" or "visual".
    Q_INVOKABLE void retryFailed(const QString& kind);
    Q_INVOKABLE void rebuildIndex();
    Q_INVOKABLE void rescanPhotos();

    QCoro::Task<> load() override;
    QCoro::Task<> refreshScheduler();

signals:
    void schedulerChanged();
    void storeChanged();
    void daemonChanged();

protected:
    void onActiveChanged() override;

private:
    static QCoro::Task<> pollPass(QPointer<ProcessingModel> self);
    // Without a job the failure's own words are shown.
    QCoro::Task<> maintain(std::optional<ProcessingScreen::Maintenance> job,
                           QCoro::Task<Expected<void>> request);
    QCoro::Task<> retry(QString kind);
    void rebuildRows();
    void addActivity(const QString& line);

    std::optional<GpuSchedulerSnapshot> snapshot_;
    std::optional<ProcessingScreen::Banner> banner_;
    QStringList pendingLines_;
    QStringList activity_;
    CancellableTask pollTask_;
};

} // namespace mnemora
