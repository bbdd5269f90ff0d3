#pragma once

#include "ui/ScreenModel.h"

namespace mnemora {

// Source Data: each source of each identity with what it has given, under the index's totals.
class SourcesModel : public ScreenModel {
    Q_OBJECT

public:
    SourcesModel(const WindowServices& services, QObject* parent = nullptr);

    QCoro::Task<> load() override;
};

} // namespace mnemora
