#pragma once

#include "ui/ScreenModel.h"

namespace mnemora {

// AI Integrations: the agent sessions live now, with the usage limit any of them hit; a session
// can be stopped from here.
class IntegrationsModel : public ScreenModel {
    Q_OBJECT

public:
    IntegrationsModel(const WindowServices& services, QObject* parent = nullptr);

    Q_INVOKABLE void stopSession(const QString& name);

    QCoro::Task<> load() override;
    QCoro::Task<> kill(QString name);
};

} // namespace mnemora
