#include "registry/RegistryItem.h"

#include "registry/RowReader.h"

namespace mnemora {

RegistryItem RegistryItem::fromRow(const SQLite::Statement& row) {
    const RowReader read(row);
    RegistryItem item;
    item.filePath = read.text("file_path").value_or(QString());
    item.itemType = read.text("item_type");
    item.capturedAt = read.date("captured_at");
    item.status = read.text("status");
    item.visualStatus = read.text("visual_status");
    item.audioStatus = read.text("audio_status");
    item.photoUuid = read.text("photo_uuid");
    item.mediaType = read.text("media_type");
    item.isFavorite = read.flag("is_favorite");
    item.isHidden = read.flag("is_hidden");
    item.caption = read.text("caption");
    item.transcription = read.text("transcription");
    item.transcriptionError = read.text("transcription_error");
    item.transcriptionAccepted = read.flag("transcription_accepted");
    item.durationSecs = read.real("duration_secs");
    item.voiceSource = read.text("voice_source");
    item.sourceFile = read.text("source_file");
    item.transcriptOnly = read.flag("transcript_only");
    item.identityId = read.text("identity_id");
    item.sourceType = read.text("source_type");
    item.sourceName = read.text("source_name");
    item.people = read.text("people");
    item.latitude = read.real("latitude");
    item.longitude = read.real("longitude");
    item.locality = read.text("locality");
    item.country = read.text("country");
    item.locationName = read.text("location_name");
    item.albums = read.text("albums");
    item.ocrText = read.text("ocr_text");
    item.timeClient = read.text("time_client");
    item.timeProject = read.text("time_project");
    item.timeCategory = read.text("time_category");
    item.timeHours = read.real("time_hours");
    item.timeText = read.text("time_text");
    item.timeLogName = read.text("time_log_name");
    item.title = read.text("title");
    return item;
}

} // namespace mnemora
