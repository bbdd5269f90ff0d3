#pragma once

#include <QJsonObject>
#include <QJsonValue>
#include <QMap>
#include <QObject>
#include <QString>
#include <QStringList>

#include <optional>

#include "app/Brand.h"

namespace mnemora {

// The vault's configuration: one JSON object shared with the daemon, which reads the same file.
// Kept in memory loosely typed, with typed reads that fall back to fixed defaults, because any
// key may be absent or of the wrong type at any time. The file is the truth: every write merges
// into what is on disk at that moment.
class ConfigService : public QObject {
    Q_OBJECT
    Q_PROPERTY(QJsonObject config READ config NOTIFY configChanged)
    Q_PROPERTY(QString lastError READ lastError NOTIFY lastErrorChanged)

public:
    // A key with a value sets it; a key with no value removes it.
    using Updates = QMap<QString, std::optional<QJsonValue>>;

    // The ten feature switches, in their order.
    static const QStringList& featureKeys();

    explicit ConfigService(QObject* parent = nullptr);

    const QJsonObject& config() const { return config_; }
    // Empty when there is no error.
    const QString& lastError() const { return lastError_; }

    // Absent for the primary vault; `{vault}/.mnemora/config.json` for a vault runtime.
    const QString& configPathOverride() const { return configPathOverride_; }
    void setConfigPathOverride(const QString& path) { configPathOverride_ = path; }

    // The configuration file this service reads and writes.
    QString filePath() const;
    // The primary configuration file, as the primary vault's service sees it.
    static QString primaryFilePath();

    void load();
    bool write(const Updates& updates);

    // Typed reads of the in-memory configuration.
    QString vaultRoot() const;
    // `active_identity_id`, else the older `active_identity`; an empty value counts as none. Every
    // reader of the active identity goes through this one rule.
    std::optional<QString> activeIdentityId() const;
    std::optional<QString> activeIdentityDisplayName() const;
    QString claudeBackend() const;
    std::optional<QString> ollamaModel() const;
    QString whisperModel() const;
    QString whisperLanguage() const;
    QString vlmModel() const;
    QString vlmBackend() const;
    QString dreamerPermissionMode() const;
    bool autoDeleteRecording() const;
    bool gpuOnlyTranscription() const;
    bool cpuOnlyTranscription() const;
    bool useAppleSpeechBeta() const;
    bool useLocalClaude() const;
    int claudeScheduleHour() const;
    QStringList selectedAssets() const;
    QStringList completedMigrations() const;

    // Feature switches.
    std::optional<bool> storedFeature(const QString& key) const;
    bool featureEnabled(const QString& key) const;
    QJsonObject effectiveFeatures() const;
    bool setFeature(const QString& key, bool value);
    // The default switches of a brand, from the chosen kinds of data where the brand asks.
    static QJsonObject defaultFeatures(Brand brand, const QStringList& selectedAssets);

    // Processing policy: the four entries, stored strings over defaults.
    QMap<QString, QString> processingPolicy() const;
    bool setProcessingPolicy(const QString& entry, const QString& value);

signals:
    void configChanged();
    void lastErrorChanged();

private:
    void setLastError(const QString& error);
    void setConfig(const QJsonObject& config);
    // The file as it is on disk now: its bytes, and its object when it parses as one.
    struct OnDisk {
        QByteArray bytes;
        std::optional<QJsonObject> object;
    };
    OnDisk readFile() const;
    // The object on disk now, empty when the file is absent, unreadable or not an object.
    QJsonObject readFileObject() const;
    // Copies the file to `{file}.broken-{UTC time}` beside it and logs where it went.
    std::optional<QString> keepBrokenFile() const;
    std::optional<QString> nonEmptyString(const char* key) const;
    bool boolValue(const char* key, bool fallback) const;

    QJsonObject config_;
    QString lastError_;
    QString configPathOverride_;
};

} // namespace mnemora
