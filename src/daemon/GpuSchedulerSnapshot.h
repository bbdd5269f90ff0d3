#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>

#include <optional>

namespace mnemora {

// One job waiting in the daemon's GPU queue.
struct QueueItem {
    QString workType;
    QString priority;
    QString assetPath;
    QString modelName;
    qint64 enqueuedAtAgoMs = 0;

    static QueueItem fromJson(const QJsonObject& object);
    bool operator==(const QueueItem&) const = default;
};

// One job the scheduler finished, successfully or not.
struct Completion {
    QString id; // made here, stable across polls: the same completion keeps its id
    QString workType;
    QString modelName;
    QString assetPath;
    QString completedAt;
    qint64 wallMs = 0;
    QString outcome; // "success" when the daemon leaves it out
    std::optional<QString> reason;
    std::optional<QString> preview;
    std::optional<QString> photoUuid;
    std::optional<QString> mediaType;

    static Completion fromJson(const QJsonObject& object);
    bool operator==(const Completion&) const = default;
};

// The daemon's GPU scheduler as `gpu-scheduler` reports it.
struct GpuSchedulerSnapshot {
    bool running = false;
    std::optional<QString> message;
    qint64 queueSize = 0;
    qint64 whisperVoicePending = 0;
    qint64 whisperVideoPending = 0;
    qint64 vlmPending = 0;
    qint64 triagePending = 0;
    std::optional<QString> currentlyProcessing;
    qint64 itemsProcessedSession = 0;
    qint64 sessionSuccess = 0;
    qint64 sessionSkipped = 0;
    qint64 sessionFailed = 0;
    QList<QueueItem> queueItems;
    QList<Completion> recent;

    static GpuSchedulerSnapshot fromJson(const QJsonObject& body);
    bool operator==(const GpuSchedulerSnapshot&) const = default;
};

} // namespace mnemora
