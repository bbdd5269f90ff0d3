#include "ui/ScreenModel.h"

namespace mnemora {

ScreenModel::ScreenModel(SidebarItem item, const WindowServices& services, QObject* parent)
    : QObject(parent)
    , item_(item)
    , services_(services)
    , empty_(ScreenTexts::emptyState(item, brand(), appDisplayName())) {}

void ScreenModel::setActive(bool active) {
    if (active_ == active) {
        return;
    }
    active_ = active;
    emit activeChanged();
    onActiveChanged();
    if (active_) {
        reload();
    }
}

void ScreenModel::reload() {
    // Started and left: the load guards itself and only writes this screen's own state.
    load();
}

void ScreenModel::setRows(QVariantList rows, QStringList summary) {
    rows_ = std::move(rows);
    summary_ = std::move(summary);
    emit rowsChanged();
}

void ScreenModel::setEmpty(ScreenTexts::EmptyState empty) {
    empty_ = std::move(empty);
}

void ScreenModel::setErrorText(const QString& text) {
    if (errorText_ != text) {
        errorText_ = text;
        emit errorTextChanged();
    }
}

} // namespace mnemora
