#pragma once

#include "ui/ScreenModel.h"

namespace mnemora {

// Transcribe: the voice memos that have been turned into text, newest first, with their words.
class TranscribeModel : public ScreenModel {
    Q_OBJECT

public:
    static constexpr int kLimit = 200;

    TranscribeModel(const WindowServices& services, QObject* parent = nullptr);

    QCoro::Task<> load() override;
};

} // namespace mnemora
