#include "ui/TranscribeModel.h"

#include <QFileInfo>
#include <QPointer>

#include "registry/DatabaseService.h"
#include "ui/ItemRows.h"
#include "ui/TranscribePanel.h"
#include "voice/AnswerControlState.h"

namespace mnemora {

TranscribeModel::TranscribeModel(const WindowServices& services, QObject* parent)
    : ScreenModel(SidebarItem::transcribe, services, parent)
    , store_(new TranscribeStore(services.daemon, this))
    , recorder_(AudioRecorder::make())
    , holder_(new HoldToRecordController(AudioRecorder::make(), this)) {
    holder_->setMinPushSeconds(kMinPushToTalkSeconds);
    holder_->isBusy = [this] { return store_->savingRecording(); };
    holder_->onClip = [this](const RecordedClip& clip) { save(clip); };
    connect(store_, &TranscribeStore::liveChanged, this, &TranscribeModel::panelChanged);
    connect(recorder_.get(), &AudioRecorder::changed, this, &TranscribeModel::recordingChanged);
    connect(store_, &TranscribeStore::recordingSaved, this, [this] { reload(); });
}

void TranscribeModel::onActiveChanged() {
    if (active() && !begun_) {
        begun_ = true;
        // Started and left: the store holds itself weakly across its waits.
        store_->begin();
    }
}

QVariantMap TranscribeModel::panel() const {
    return TranscribePanel::of(store_->live(), appDisplayName()).toVariant();
}

QString TranscribeModel::recordLabel() const {
    if (!recorder_->isRecording()) {
        return QStringLiteral("Record");
    }
    return QStringLiteral("Stop (%1)").arg(AnswerText::clock(recorder_->elapsedSeconds()));
}

void TranscribeModel::toggleRecording() {
    if (!recorder_->isRecording()) {
        recorder_->start();
        setErrorText(recorder_->errorText());
        return;
    }
    // Started and left: it guards this model across the recorder's last write.
    stopAndSave(QPointer<TranscribeModel>(this));
}

QCoro::Task<> TranscribeModel::stopAndSave(QPointer<TranscribeModel> self) {
    QCoro::Task<std::optional<RecordedClip>> stopping = self->recorder_->stop();
    const std::optional<RecordedClip> clip = co_await stopping;
    // A stop that yields no clip saves nothing.
    if (self && clip) {
        self->save(*clip);
    }
}

void TranscribeModel::save(const RecordedClip& clip) {
    // Started and left: the store reports through its properties.
    saveClip(QPointer<TranscribeModel>(this), clip.bytes);
}

QCoro::Task<> TranscribeModel::saveClip(QPointer<TranscribeModel> self, QByteArray bytes) {
    QCoro::Task<std::optional<QString>> saving = self->store_->saveAppRecording(bytes);
    co_await saving;
    if (self) {
        self->setErrorText(self->store_->recordingErrorText());
    }
}

void TranscribeModel::panelAction(const QString& button) {
    if (button == QLatin1String("Start live transcription")) {
        store_->startWatching();
    } else if (button == QLatin1String("Stop watching")) {
        store_->stopWatching();
    } else if (button == QLatin1String("Dismiss")) {
        store_->dismissFinished();
    } else if (button == QLatin1String("Recheck")) {
        // Started and left: the store holds itself weakly.
        store_->refreshAccess();
    } else if (button == QLatin1String("Open Settings")) {
        setErrorText(QStringLiteral("Give the daemon read access to the Voice Memos folder in "
                                    "your desktop's settings, then press Recheck."));
    }
}

QCoro::Task<> TranscribeModel::load() {
    QPointer<TranscribeModel> self(this);
    QCoro::Task<QList<RegistryItem>> fetching = services().database->fetchItems(
        QStringLiteral("voice_memo"), IdentityScope::active(), kLimit);
    const QList<RegistryItem> items = co_await fetching;
    if (!self) {
        co_return;
    }
    QVariantList rows;
    for (const RegistryItem& memo : items) {
        const QString text = memo.transcription.value_or(QString()).trimmed();
        if (text.isEmpty()) {
            continue;
        }
        QStringList about;
        if (memo.durationSecs) {
            about << QStringLiteral("%1 s").arg(qRound(*memo.durationSecs));
        }
        if (memo.sourceName && !memo.sourceName->isEmpty()) {
            about << *memo.sourceName;
        }
        rows << QVariantMap{{QStringLiteral("title"),
                             memo.capturedAt ? ItemRows::when(*memo.capturedAt)
                                             : QFileInfo(memo.filePath).completeBaseName()},
                            {QStringLiteral("subtitle"), about.join(QStringLiteral(" · "))},
                            {QStringLiteral("body"), text},
                            {QStringLiteral("path"), memo.filePath}};
    }
    setRows(rows);
}

} // namespace mnemora
