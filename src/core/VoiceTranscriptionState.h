#pragma once

#include "core/WireWord.h"

namespace mnemora::core {

// Progress of the transcription of a spoken answer.
enum class VoiceTranscriptionState { queued, transcribing, done, failed };

template <> struct WireWords<VoiceTranscriptionState> {
    static constexpr std::array<std::string_view, 4> words{"queued", "transcribing", "done",
                                                           "failed"};
};

} // namespace mnemora::core
