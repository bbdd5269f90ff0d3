#pragma once

#include <QPointer>

#include "questions/QuestionsInbox.h"
#include "ui/ScreenModel.h"

namespace mnemora {

// Home: the questions inbox, every open question answered, dismissed or taken into its session
// from here. On
// Tallo's primary window it also offers the demo books, which open in a window of their own.
class HomeModel : public ScreenModel {
    Q_OBJECT
    Q_PROPERTY(bool canOpenDemo READ canOpenDemo CONSTANT)
    Q_PROPERTY(QObject* inbox READ inbox CONSTANT)

public:
    HomeModel(const WindowServices& services, QObject* parent = nullptr);

    bool canOpenDemo() const;
    QuestionsInbox* inbox() const { return inbox_; }

    Q_INVOKABLE void join(const QString& slug);
    Q_INVOKABLE void openDemo();

    QCoro::Task<> load() override;

private:
    void rebuild();
    QCoro::Task<> loadBooksNames();

    QuestionsInbox* inbox_;
};

} // namespace mnemora
