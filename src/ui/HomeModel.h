#pragma once

#include <QPointer>

#include "ui/ScreenModel.h"

namespace mnemora {

// Home: the open questions, each answered, dismissed or taken into its session from here. On
// Tallo's primary window it also offers the demo books, which open in a window of their own.
class HomeModel : public ScreenModel {
    Q_OBJECT
    Q_PROPERTY(bool canOpenDemo READ canOpenDemo CONSTANT)

public:
    HomeModel(const WindowServices& services, QObject* parent = nullptr);

    bool canOpenDemo() const;

    // Each gives whether it went through; a failure's words land in `errorText`.
    Q_INVOKABLE bool answer(const QString& slug, const QString& text);
    Q_INVOKABLE bool dismiss(const QString& slug, const QString& reason);
    Q_INVOKABLE void join(const QString& slug);
    Q_INVOKABLE void openDemo();

    QCoro::Task<> load() override;
    QCoro::Task<> joinSession(QString slug);

private:
    void rebuild();
    std::optional<Question> find(const QString& slug) const;
};

} // namespace mnemora
