#pragma once

#include "ui/ScreenModel.h"

namespace mnemora {

// Life Book: the narrative the background sessions have written, one row per written piece,
// under what was captured in the last day, week and month.
class LifeBookModel : public ScreenModel {
    Q_OBJECT

public:
    LifeBookModel(const WindowServices& services, QObject* parent = nullptr);

    QCoro::Task<> load() override;
};

} // namespace mnemora
