#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

#include "app/ConfigService.h"
#include "support/BundleOverride.h"
#include "support/StdoutCapture.h"
#include "support/TestEnvironment.h"

using namespace mnemora;
using mnemora::test::BundleOverride;
using mnemora::test::TestEnvironment;

namespace {

QJsonObject fileObject(const QString& path) {
    return QJsonDocument::fromJson(TestEnvironment::readFile(path)).object();
}

struct ConfigFixture : ::testing::Test {
    TestEnvironment env;
    BundleOverride bundle{"tallo.ai", "Tallo Books", "Tallo"};
    ConfigService config;

    void store(const QByteArray& json) {
        TestEnvironment::writeFile(config.filePath(), json);
        config.load();
        ASSERT_TRUE(config.lastError().isEmpty()) << config.lastError().toStdString();
    }
};

} // namespace

TEST_F(ConfigFixture, LivesUnderApplicationSupportByDisplayNameWithoutSpaces) {
    EXPECT_EQ(config.filePath(), env.dataHome() + "/TalloBooks/config.json");
    config.setConfigPathOverride(env.root() + "/vault/.mnemora/config.json");
    EXPECT_EQ(config.filePath(), env.root() + "/vault/.mnemora/config.json");
}

TEST_F(ConfigFixture, LoadFailuresKeepTheOldConfigurationAndSayWhy) {
    store(R"({"whisper_model": "small"})");

    TestEnvironment::writeFile(config.filePath(), "{broken");
    config.load();
    EXPECT_TRUE(config.lastError().startsWith("Config not loaded: "))
        << config.lastError().toStdString();
    EXPECT_EQ(config.whisperModel(), "small");

    // Valid JSON that is not an object changes nothing at all, not even the error.
    TestEnvironment::writeFile(config.filePath(), "[1, 2]");
    config.load();
    EXPECT_TRUE(config.lastError().startsWith("Config not loaded: "));
    EXPECT_EQ(config.whisperModel(), "small");

    QFile::remove(config.filePath());
    config.load();
    EXPECT_TRUE(config.lastError().startsWith("Config not loaded: "));

    store(R"({"whisper_model": "tiny"})");
    EXPECT_EQ(config.whisperModel(), "tiny");
}

TEST_F(ConfigFixture, WriteMergesIntoTheFileOnDiskNotIntoStaleMemory) {
    store(R"({"a": 1, "b": 2})");
    // Another writer (the daemon) changes the file behind our back.
    TestEnvironment::writeFile(config.filePath(), R"({"a": 1, "b": 2, "daemon_key": "x"})");

    ASSERT_TRUE(config.write({{"b", std::nullopt}, {"c", QJsonValue(true)}}));
    const QJsonObject onDisk = fileObject(config.filePath());
    EXPECT_EQ(onDisk, (QJsonObject{{"a", 1}, {"c", true}, {"daemon_key", "x"}}));
    EXPECT_EQ(config.config(), onDisk);

    // Pretty-printed with sorted keys.
    const QByteArray text = TestEnvironment::readFile(config.filePath());
    EXPECT_LT(text.indexOf("\"a\""), text.indexOf("\"c\""));
    EXPECT_LT(text.indexOf("\"c\""), text.indexOf("\"daemon_key\""));
    EXPECT_TRUE(text.contains("\n    \"a\": 1"));
}

TEST_F(ConfigFixture, AWriteKeepsAFileThatDoesNotParseBesideItselfBeforeReplacingIt) {
    EXPECT_TRUE(config.write({{"x", QJsonValue(1)}}));
    EXPECT_EQ(fileObject(config.filePath()), (QJsonObject{{"x", 1}}));

    // Hand-editing slips: a trailing comma, then JSON that is no object.
    const QByteArray slips[] = {"{\"mnemora_path\": \"~/Books\", \"identities\": [],}\n",
                                "[\"mnemora_path\"]"};
    const QDir folder = QFileInfo(config.filePath()).dir();
    QStringList logged;
    for (const QByteArray& slip : slips) {
        TestEnvironment::writeFile(config.filePath(), slip);
        test::StdoutCapture output;
        EXPECT_TRUE(config.write({{"y", QJsonValue(2)}}));
        logged << output.linesStartingWith("[ConfigService] ");
    }
    EXPECT_EQ(fileObject(config.filePath()), (QJsonObject{{"y", 2}}));

    const QStringList kept = folder.entryList({"config.json.broken-*"}, QDir::Files, QDir::Name);
    ASSERT_EQ(kept.size(), 2) << folder.entryList().join(' ').toStdString();
    const QRegularExpression name(R"(^config\.json\.broken-\d{8}T\d{6}Z(-\d+)?$)");
    QList<QByteArray> contents;
    QStringList expectedLog;
    for (const QString& file : kept) {
        EXPECT_TRUE(name.match(file).hasMatch()) << file.toStdString();
        contents << TestEnvironment::readFile(folder.filePath(file));
        expectedLog << "[ConfigService] config.json did not parse; kept it as " +
                           folder.filePath(file);
    }
    std::sort(contents.begin(), contents.end());
    EXPECT_EQ(contents, (QList<QByteArray>{slips[1], slips[0]}));
    logged.sort();
    EXPECT_EQ(logged, expectedLog);

    // A file that parses, or none at all, is replaced without a copy.
    EXPECT_TRUE(config.write({{"z", QJsonValue(3)}}));
    QFile::remove(config.filePath());
    EXPECT_TRUE(config.write({{"z", QJsonValue(3)}}));
    EXPECT_EQ(folder.entryList({"config.json*"}, QDir::Files).size(), 3);
}

TEST_F(ConfigFixture, FailedWriteLeavesMemoryAloneAndSetsTheError) {
    store(R"({"keep": true})");
    // A plain file where the folder should be makes the write impossible.
    TestEnvironment::writeFile(env.root() + "/blocked", "file");
    config.setConfigPathOverride(env.root() + "/blocked/.mnemora/config.json");
    EXPECT_FALSE(config.write({{"x", QJsonValue(1)}}));
    EXPECT_TRUE(config.lastError().startsWith("Config write failed: "))
        << config.lastError().toStdString();
    EXPECT_EQ(config.config(), (QJsonObject{{"keep", true}}));
}

TEST_F(ConfigFixture, TypedReadsFallBackToDefaultsForAbsentEmptyOrMistypedKeys) {
    store(R"({"claude_schedule_hour": "7", "dreamer_permission_mode": "", "whisper_model": 3,
              "gpu_only_transcription": "yes", "use_apple_speech_beta": true})");
    EXPECT_EQ(config.claudeScheduleHour(), 23);
    EXPECT_EQ(config.dreamerPermissionMode(), "auto");
    EXPECT_EQ(config.whisperModel(), "large-v3-turbo");
    EXPECT_EQ(config.whisperLanguage(), "auto");
    EXPECT_EQ(config.vlmModel(), "moondream:1.8b");
    EXPECT_EQ(config.vlmBackend(), "ollama");
    EXPECT_FALSE(config.gpuOnlyTranscription());
    EXPECT_TRUE(config.useAppleSpeechBeta());
    EXPECT_EQ(config.vaultRoot(), env.home() + "/Tallo Books");

    store(R"({"claude_schedule_hour": 6, "mnemora_path": "~/Books",
              "active_identity": "old", "ollama_model": "llama3"})");
    EXPECT_EQ(config.claudeScheduleHour(), 6);
    EXPECT_EQ(config.vaultRoot(), env.home() + "/Books");
    EXPECT_EQ(config.activeIdentityId(), "old");
    EXPECT_EQ(config.ollamaModel(), "llama3");

    store(R"({"mnemora_path": "", "active_identity_id": "new", "active_identity": "old",
              "claude_ollama_model": "qwen", "ollama_model": "llama3"})");
    EXPECT_EQ(config.vaultRoot(), env.home() + "/Tallo Books");
    EXPECT_EQ(config.activeIdentityId(), "new");
    EXPECT_EQ(config.ollamaModel(), "qwen");
}

TEST_F(ConfigFixture, ClaudeBackendChoice) {
    store(R"({"claude_backend": "ollama_local", "use_local_claude": false})");
    EXPECT_EQ(config.claudeBackend(), "ollama_local");
    store(R"({"use_local_claude": true, "ollama_model": "llama3:cloud"})");
    EXPECT_EQ(config.claudeBackend(), "ollama_cloud");
    store(R"({"use_local_claude": true, "ollama_model": "llama3"})");
    EXPECT_EQ(config.claudeBackend(), "ollama_local");
    store(R"({"claude_backend": "", "use_local_claude": "true"})");
    EXPECT_EQ(config.claudeBackend(), "anthropic");
}

TEST_F(ConfigFixture, ActiveIdentityDisplayName) {
    store(R"({"active_identity_id": "b", "identities": [
        {"id": "a", "display_name": "Ann", "is_default": true},
        {"id": "b", "display_name": " Bob "}]})");
    EXPECT_EQ(config.activeIdentityDisplayName(), " Bob "); // untrimmed

    store(R"({"active_identity_id": "zzz", "identities": [
        {"id": "a", "display_name": "Ann"}, {"id": "b", "display_name": "Bob", "is_default": true}]})");
    EXPECT_EQ(config.activeIdentityDisplayName(), "Bob");

    store(R"({"identities": [{"id": "a", "display_name": "Ann"}]})");
    EXPECT_EQ(config.activeIdentityDisplayName(), "Ann");

    // An entry without a string id matches an absent active id.
    store(R"({"identities": [{"id": "a", "display_name": "Ann"}, {"display_name": "Nobody"}]})");
    EXPECT_EQ(config.activeIdentityDisplayName(), "Nobody");

    // The older spelling stands in for the id, and an empty id counts as none.
    store(R"({"active_identity_id": "", "active_identity": "b", "identities": [
        {"id": "a", "display_name": "Ann", "is_default": true}, {"id": "b", "display_name": "Bob"}]})");
    EXPECT_EQ(config.activeIdentityDisplayName(), "Bob");

    store(R"({"identities": [{"id": "a", "display_name": "  "}]})");
    EXPECT_EQ(config.activeIdentityDisplayName(), std::nullopt);
    store(R"({"identities": [{"id": "a"}, {"id": "b"}]})");
    EXPECT_EQ(config.activeIdentityDisplayName(), std::nullopt);
    store(R"({"identities": {"id": "a"}})");
    EXPECT_EQ(config.activeIdentityDisplayName(), std::nullopt);
}

TEST(ConfigFeatures, DefaultMapsForEveryBrand) {
    const QJsonObject tallo = ConfigService::defaultFeatures(Brand::tallo, {"voicememos"});
    EXPECT_EQ(tallo, (QJsonObject{{"capture_voice_memos", false},
                                  {"capture_photos", true},
                                  {"capture_videos", false},
                                  {"capture_time_logs", false},
                                  {"capture_breadcrumbs", false},
                                  {"transcribe_audio", true},
                                  {"caption_photos", false},
                                  {"generate_rollups", false},
                                  {"time_reporting", false},
                                  {"claude_code", true}}));

    const QJsonObject none = ConfigService::defaultFeatures(Brand::mnemora, {});
    for (const QString& key : ConfigService::featureKeys()) {
        const bool alwaysOn =
            key == "generate_rollups" || key == "time_reporting" || key == "claude_code";
        EXPECT_EQ(none.value(key).toBool(), alwaysOn) << key.toStdString();
    }

    const QJsonObject voxlet =
        ConfigService::defaultFeatures(Brand::voxlet, {"voicememos", "photos", "breadcrumbs"});
    EXPECT_TRUE(voxlet["capture_voice_memos"].toBool());
    EXPECT_TRUE(voxlet["transcribe_audio"].toBool());
    EXPECT_TRUE(voxlet["capture_videos"].toBool());
    EXPECT_TRUE(voxlet["caption_photos"].toBool());
    EXPECT_TRUE(voxlet["capture_breadcrumbs"].toBool());
    EXPECT_FALSE(voxlet["capture_time_logs"].toBool());
}

TEST_F(ConfigFixture, EffectiveFeaturesFillMissingKeysFromTheBrandDefaults) {
    store(R"({"features": {"capture_voice_memos": true, "capture_photos": false,
              "capture_videos": true, "capture_time_logs": true, "capture_breadcrumbs": true,
              "transcribe_audio": false, "caption_photos": true, "generate_rollups": null}})");
    const QJsonObject features = config.effectiveFeatures();
    EXPECT_EQ(features.size(), 9); // the stored null removed its key
    EXPECT_FALSE(features.contains("generate_rollups"));
    EXPECT_EQ(features["time_reporting"], false); // Tallo's fixed default
    EXPECT_EQ(features["claude_code"], true);
    EXPECT_EQ(features["capture_photos"], false); // stored wins

    EXPECT_EQ(config.storedFeature("capture_photos"), false);
    EXPECT_EQ(config.storedFeature("generate_rollups"), std::nullopt);
    EXPECT_EQ(config.storedFeature("time_reporting"), std::nullopt);
    EXPECT_FALSE(config.featureEnabled("time_reporting"));
    EXPECT_TRUE(config.featureEnabled("unknown_feature"));
}

TEST_F(ConfigFixture, CompleteStoredFeaturesAreReturnedAsTheyStand) {
    QJsonObject stored;
    for (const QString& key : ConfigService::featureKeys()) {
        stored.insert(key, false);
    }
    stored.insert("experimental", true);
    store(QJsonDocument(QJsonObject{{"features", stored}}).toJson());
    EXPECT_EQ(config.effectiveFeatures(), stored);
}

TEST_F(ConfigFixture, SettingAFeatureOrPolicyKeepsTheOtherEntriesOnDisk) {
    store(R"({"features": {"capture_photos": true}, "processing_policy": {"triage": "never"}})");
    TestEnvironment::writeFile(config.filePath(),
                               R"({"features": {"capture_photos": true, "claude_code": false},
                                   "processing_policy": {"triage": "never", "llm_dreamer": 5}})");
    ASSERT_TRUE(config.setFeature("capture_videos", true));
    ASSERT_TRUE(config.setProcessingPolicy("vlm_captioning", "always"));
    const QJsonObject onDisk = fileObject(config.filePath());
    EXPECT_EQ(
        onDisk["features"].toObject(),
        (QJsonObject{{"capture_photos", true}, {"claude_code", false}, {"capture_videos", true}}));

    const QMap<QString, QString> policy = config.processingPolicy();
    EXPECT_EQ(policy.value("voice_transcription"), "always");
    EXPECT_EQ(policy.value("vlm_captioning"), "always");
    EXPECT_EQ(policy.value("triage"), "never");
    EXPECT_EQ(policy.value("llm_dreamer"), "manual"); // a number is not a policy word
    EXPECT_EQ(policy.size(), 4);
}
