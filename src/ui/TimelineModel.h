#pragma once

#include "ui/ScreenModel.h"

namespace mnemora {

// Timeline: the indexed items of one kind, newest first; or, with a place searched, everything
// captured there.
class TimelineModel : public ScreenModel {
    Q_OBJECT
    Q_PROPERTY(QVariantList kinds READ kinds CONSTANT)
    Q_PROPERTY(QString kind READ kind WRITE setKind NOTIFY queryChanged)
    Q_PROPERTY(QString place READ place WRITE setPlace NOTIFY queryChanged)

public:
    static constexpr int kLimit = 200;

    TimelineModel(const WindowServices& services, QObject* parent = nullptr);

    // The kinds to choose from: `word` and `label`.
    QVariantList kinds() const;
    const QString& kind() const { return kind_; }
    void setKind(const QString& kind);
    const QString& place() const { return place_; }
    void setPlace(const QString& place);

    QCoro::Task<> load() override;

signals:
    void queryChanged();

private:
    QString kind_;
    QString place_;
};

} // namespace mnemora
