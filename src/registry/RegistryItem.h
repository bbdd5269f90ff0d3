#pragma once

#include <QDateTime>
#include <QString>

#include <optional>

namespace SQLite {
class Statement;
}

namespace mnemora {

// One captured item of the index: a row of `registry_items`, identified by its file path. Every
// other column may be null or absent in an older row, so every other field is optional.
struct RegistryItem {
    QString filePath{};
    std::optional<QString> itemType{}; // photo, video, voice_memo, time_entry
    std::optional<QDateTime> capturedAt{};
    std::optional<QString> status{};
    std::optional<QString> visualStatus{};
    std::optional<QString> audioStatus{};
    std::optional<QString> photoUuid{};
    std::optional<QString> mediaType{};
    std::optional<bool> isFavorite{};
    std::optional<bool> isHidden{};
    std::optional<QString> caption{};
    std::optional<QString> transcription{};
    std::optional<QString> transcriptionError{};
    std::optional<bool> transcriptionAccepted{};
    std::optional<double> durationSecs{};
    std::optional<QString> voiceSource{};
    std::optional<QString> sourceFile{};
    std::optional<bool> transcriptOnly{};
    std::optional<QString> identityId{};
    std::optional<QString> sourceType{};
    std::optional<QString> sourceName{};
    std::optional<QString> people{}; // names separated by commas
    std::optional<double> latitude{};
    std::optional<double> longitude{};
    std::optional<QString> locality{};
    std::optional<QString> country{};
    std::optional<QString> locationName{};
    std::optional<QString> albums{};
    std::optional<QString> ocrText{};
    std::optional<QString> timeClient{};
    std::optional<QString> timeProject{};
    std::optional<QString> timeCategory{};
    std::optional<double> timeHours{};
    std::optional<QString> timeText{};
    std::optional<QString> timeLogName{};
    std::optional<QString> title{};

    // Decodes the statement's current row, read by column name. Throws when a column is missing.
    static RegistryItem fromRow(const SQLite::Statement& row);

    bool operator==(const RegistryItem&) const = default;
};

} // namespace mnemora
