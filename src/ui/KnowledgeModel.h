#pragma once

#include "ui/ScreenModel.h"

namespace mnemora {

// Knowledge: how many people and places the index knows, and what was captured at a place.
class KnowledgeModel : public ScreenModel {
    Q_OBJECT
    Q_PROPERTY(QString place READ place WRITE setPlace NOTIFY placeChanged)

public:
    static constexpr int kLimit = 200;

    KnowledgeModel(const WindowServices& services, QObject* parent = nullptr);

    const QString& place() const { return place_; }
    void setPlace(const QString& place);

    QCoro::Task<> load() override;

signals:
    void placeChanged();

private:
    QString place_;
};

} // namespace mnemora
