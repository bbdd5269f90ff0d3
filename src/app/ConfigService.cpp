#include "app/ConfigService.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonParseError>

#include <cmath>

#include "app/JsonRead.h"
#include "app/Log.h"
#include "app/VaultPaths.h"
#include "platform/AtomicFile.h"
#include "platform/Paths.h"

namespace mnemora {

namespace {

const QMap<QString, QString>& policyDefaults() {
    static const QMap<QString, QString> defaults{
        {QStringLiteral("voice_transcription"), QStringLiteral("always")},
        {QStringLiteral("vlm_captioning"), QStringLiteral("high_power_only")},
        {QStringLiteral("triage"), QStringLiteral("always")},
        {QStringLiteral("llm_dreamer"), QStringLiteral("manual")},
    };
    return defaults;
}

QStringList stringsOf(const QJsonValue& value) {
    QStringList strings;
    for (const QJsonValue& element : value.toArray()) {
        if (element.isString()) {
            strings << element.toString();
        }
    }
    return strings;
}

} // namespace

const QStringList& ConfigService::featureKeys() {
    static const QStringList keys{
        QStringLiteral("capture_voice_memos"), QStringLiteral("capture_photos"),
        QStringLiteral("capture_videos"),      QStringLiteral("capture_time_logs"),
        QStringLiteral("capture_breadcrumbs"), QStringLiteral("transcribe_audio"),
        QStringLiteral("caption_photos"),      QStringLiteral("generate_rollups"),
        QStringLiteral("time_reporting"),      QStringLiteral("claude_code"),
    };
    return keys;
}

ConfigService::ConfigService(QObject* parent)
    : QObject(parent) {}

QString ConfigService::primaryFilePath() {
    QString folder = appDisplayName();
    folder.remove(QLatin1Char(' '));
    return Paths::applicationSupportRoot() + QLatin1Char('/') + folder +
           QStringLiteral("/config.json");
}

QString ConfigService::filePath() const {
    return configPathOverride_.isEmpty() ? primaryFilePath() : configPathOverride_;
}

void ConfigService::setLastError(const QString& error) {
    if (lastError_ != error) {
        lastError_ = error;
        emit lastErrorChanged();
    }
}

void ConfigService::setConfig(const QJsonObject& config) {
    if (config_ != config) {
        config_ = config;
        emit configChanged();
    }
}

void ConfigService::load() {
    QFile file(filePath());
    if (!file.open(QIODevice::ReadOnly)) {
        setLastError(QStringLiteral("Config not loaded: ") + file.errorString());
        return;
    }
    QJsonParseError parseError{};
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        setLastError(QStringLiteral("Config not loaded: ") + parseError.errorString() +
                     QStringLiteral(" at offset ") + QString::number(parseError.offset));
        return;
    }
    // Valid JSON that is not an object is not a configuration; leave everything as it was.
    if (!document.isObject()) {
        return;
    }
    setConfig(document.object());
    setLastError({});
}

ConfigService::OnDisk ConfigService::readFile() const {
    QFile file(filePath());
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    OnDisk onDisk{file.readAll(), std::nullopt};
    const QJsonDocument document = QJsonDocument::fromJson(onDisk.bytes);
    if (document.isObject()) {
        onDisk.object = document.object();
    }
    return onDisk;
}

QJsonObject ConfigService::readFileObject() const {
    return readFile().object.value_or(QJsonObject{});
}

std::optional<QString> ConfigService::keepBrokenFile() const {
    const QString path = filePath();
    const QString stamp =
        QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyyMMddTHHmmssZ"));
    QString kept = path + QStringLiteral(".broken-") + stamp;
    for (int n = 2; QFileInfo::exists(kept); ++n) {
        kept = path + QStringLiteral(".broken-") + stamp + QLatin1Char('-') + QString::number(n);
    }
    QFile file(path);
    if (!file.copy(kept)) {
        return QStringLiteral("could not keep the file that does not parse: ") + file.errorString();
    }
    Log::line(QStringLiteral("ConfigService"),
              QFileInfo(path).fileName() + QStringLiteral(" did not parse; kept it as ") + kept);
    return std::nullopt;
}

bool ConfigService::write(const Updates& updates) {
    const QString path = filePath();
    const QString folder = QFileInfo(path).absolutePath();
    if (!QDir().mkpath(folder)) {
        setLastError(QStringLiteral("Config write failed: could not create the folder ") + folder);
        return false;
    }
    // A file that does not parse is most likely a slip of a hand edit: the merge cannot keep its
    // keys, so the file itself is kept beside the new one, and nothing the user wrote is lost.
    const OnDisk onDisk = readFile();
    if (!onDisk.object && !onDisk.bytes.isEmpty()) {
        if (const auto error = keepBrokenFile()) {
            setLastError(QStringLiteral("Config write failed: ") + *error);
            return false;
        }
    }
    QJsonObject merged = onDisk.object.value_or(QJsonObject{});
    for (auto it = updates.cbegin(); it != updates.cend(); ++it) {
        if (it.value().has_value()) {
            merged.insert(it.key(), *it.value());
        } else {
            merged.remove(it.key());
        }
    }
    // QJsonObject keeps its keys sorted, so the indented form is the sorted pretty form.
    if (const auto error =
            writeFileAtomically(path, QJsonDocument(merged).toJson(QJsonDocument::Indented))) {
        setLastError(QStringLiteral("Config write failed: ") + *error);
        return false;
    }
    setConfig(merged);
    return true;
}

std::optional<QString> ConfigService::nonEmptyString(const char* key) const {
    const QJsonValue value = config_.value(QLatin1String(key));
    if (value.isString() && !value.toString().isEmpty()) {
        return value.toString();
    }
    return std::nullopt;
}

bool ConfigService::boolValue(const char* key, bool fallback) const {
    const QJsonValue value = config_.value(QLatin1String(key));
    return value.isBool() ? value.toBool() : fallback;
}

QString ConfigService::vaultRoot() const {
    return VaultPaths::configuredVault(config_).value_or(Paths::home() + QLatin1Char('/') +
                                                         appDisplayName());
}

std::optional<QString> ConfigService::activeIdentityId() const {
    if (auto id = nonEmptyString("active_identity_id")) {
        return id;
    }
    return nonEmptyString("active_identity");
}

std::optional<QString> ConfigService::activeIdentityDisplayName() const {
    const QJsonValue identitiesValue = config_.value(QLatin1String("identities"));
    if (!identitiesValue.isArray()) {
        return std::nullopt;
    }
    QList<QJsonObject> identities;
    for (const QJsonValue& entry : identitiesValue.toArray()) {
        if (!entry.isObject()) {
            return std::nullopt; // not a list of objects
        }
        identities << entry.toObject();
    }
    // The one rule of `activeIdentityId`, older spelling and empty value included, so that the
    // name shown is always that of the identity whose rows the queries filter on.
    const std::optional<QString> activeId = activeIdentityId();
    auto idOf = [](const QJsonObject& identity) -> std::optional<QString> {
        const QJsonValue id = identity.value(QLatin1String("id"));
        return id.isString() ? std::optional(id.toString()) : std::nullopt;
    };

    const QJsonObject* chosen = nullptr;
    for (const QJsonObject& identity : identities) {
        if (idOf(identity) == activeId) {
            chosen = &identity;
            break;
        }
    }
    if (chosen == nullptr) {
        for (const QJsonObject& identity : identities) {
            if (identity.value(QLatin1String("is_default")).toBool(false)) {
                chosen = &identity;
                break;
            }
        }
    }
    if (chosen == nullptr && identities.size() == 1) {
        chosen = &identities.first();
    }
    if (chosen == nullptr) {
        return std::nullopt;
    }
    const QJsonValue name = chosen->value(QLatin1String("display_name"));
    if (name.isString() && !name.toString().trimmed().isEmpty()) {
        return name.toString();
    }
    return std::nullopt;
}

QString ConfigService::claudeBackend() const {
    if (const auto backend = nonEmptyString("claude_backend")) {
        return *backend;
    }
    if (useLocalClaude()) {
        return ollamaModel().value_or(QString()).contains(QLatin1String(":cloud"))
                   ? QStringLiteral("ollama_cloud")
                   : QStringLiteral("ollama_local");
    }
    return QStringLiteral("anthropic");
}

std::optional<QString> ConfigService::ollamaModel() const {
    if (auto model = nonEmptyString("claude_ollama_model")) {
        return model;
    }
    return nonEmptyString("ollama_model");
}

QString ConfigService::whisperModel() const {
    return nonEmptyString("whisper_model").value_or(QStringLiteral("large-v3-turbo"));
}

QString ConfigService::whisperLanguage() const {
    return nonEmptyString("whisper_language").value_or(QStringLiteral("auto"));
}

QString ConfigService::vlmModel() const {
    return nonEmptyString("vlm_model").value_or(QStringLiteral("moondream:1.8b"));
}

QString ConfigService::vlmBackend() const {
    return nonEmptyString("vlm_backend").value_or(QStringLiteral("ollama"));
}

QString ConfigService::dreamerPermissionMode() const {
    return nonEmptyString("dreamer_permission_mode").value_or(QStringLiteral("auto"));
}

bool ConfigService::autoDeleteRecording() const {
    return boolValue("auto_delete_recording_after_transcription", false);
}

bool ConfigService::gpuOnlyTranscription() const {
    return boolValue("gpu_only_transcription", false);
}

bool ConfigService::cpuOnlyTranscription() const {
    return boolValue("cpu_only_transcription", false);
}

bool ConfigService::useAppleSpeechBeta() const {
    return boolValue("use_apple_speech_beta", false);
}

bool ConfigService::useLocalClaude() const {
    return boolValue("use_local_claude", false);
}

int ConfigService::claudeScheduleHour() const {
    return JsonRead::int32(config_.value(QLatin1String("claude_schedule_hour"))).value_or(23);
}

QStringList ConfigService::selectedAssets() const {
    return stringsOf(config_.value(QLatin1String("selected_assets")));
}

QStringList ConfigService::completedMigrations() const {
    return stringsOf(config_.value(QLatin1String("completed_migrations")));
}

QJsonObject ConfigService::defaultFeatures(Brand brand, const QStringList& selectedAssets) {
    QJsonObject features;
    if (BrandProfile::hasFixedFeatureDefaults(brand)) {
        const bool fixed[] = {false, true, false, false, false, true, false, false, false, true};
        for (int i = 0; i < featureKeys().size(); ++i) {
            features.insert(featureKeys()[i], fixed[i]);
        }
        return features;
    }
    const bool voice = selectedAssets.contains(QLatin1String("voicememos"));
    const bool photos = selectedAssets.contains(QLatin1String("photos"));
    features.insert(QStringLiteral("capture_voice_memos"), voice);
    features.insert(QStringLiteral("transcribe_audio"), voice);
    features.insert(QStringLiteral("capture_photos"), photos);
    features.insert(QStringLiteral("capture_videos"), photos);
    features.insert(QStringLiteral("caption_photos"), photos);
    features.insert(QStringLiteral("capture_time_logs"),
                    selectedAssets.contains(QLatin1String("timetracking")));
    features.insert(QStringLiteral("capture_breadcrumbs"),
                    selectedAssets.contains(QLatin1String("breadcrumbs")));
    features.insert(QStringLiteral("generate_rollups"), true);
    features.insert(QStringLiteral("time_reporting"), true);
    features.insert(QStringLiteral("claude_code"), true);
    return features;
}

std::optional<bool> ConfigService::storedFeature(const QString& key) const {
    const QJsonValue value = config_.value(QLatin1String("features")).toObject().value(key);
    return value.isBool() ? std::optional(value.toBool()) : std::nullopt;
}

bool ConfigService::featureEnabled(const QString& key) const {
    if (const auto stored = storedFeature(key)) {
        return *stored;
    }
    const QJsonValue fallback = defaultFeatures(brand(), selectedAssets()).value(key);
    return fallback.isBool() ? fallback.toBool() : true;
}

QJsonObject ConfigService::effectiveFeatures() const {
    const QJsonObject stored = config_.value(QLatin1String("features")).toObject();
    const bool complete = std::all_of(featureKeys().cbegin(), featureKeys().cend(),
                                      [&](const QString& key) { return stored.contains(key); });
    if (complete) {
        return stored;
    }
    QJsonObject result = defaultFeatures(brand(), selectedAssets());
    for (const QString& key : featureKeys()) {
        if (!stored.contains(key)) {
            continue;
        }
        const QJsonValue value = stored.value(key);
        if (value.isNull()) {
            result.remove(key);
        } else {
            result.insert(key, value);
        }
    }
    return result;
}

bool ConfigService::setFeature(const QString& key, bool value) {
    // Start from the file: another writer may have switched other features since our last load.
    QJsonObject features = readFileObject().value(QLatin1String("features")).toObject();
    features.insert(key, value);
    return write({{QStringLiteral("features"), QJsonValue(features)}});
}

QMap<QString, QString> ConfigService::processingPolicy() const {
    const QJsonObject stored = config_.value(QLatin1String("processing_policy")).toObject();
    QMap<QString, QString> policy = policyDefaults();
    for (auto it = policy.begin(); it != policy.end(); ++it) {
        const QJsonValue value = stored.value(it.key());
        if (value.isString()) {
            it.value() = value.toString();
        }
    }
    return policy;
}

bool ConfigService::setProcessingPolicy(const QString& entry, const QString& value) {
    QJsonObject policy = readFileObject().value(QLatin1String("processing_policy")).toObject();
    policy.insert(entry, value);
    return write({{QStringLiteral("processing_policy"), QJsonValue(policy)}});
}

} // namespace mnemora
