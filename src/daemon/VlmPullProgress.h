#pragma once

#include <QString>
#include <QtGlobal>

namespace mnemora {

// How far a pull of a vision model has come, from `model-download-progress`.
struct VlmPullProgress {
    QString kind;
    QString model;
    QString status;
    quint64 completed = 0;
    quint64 total = 0;
    double percentage = 0;

    bool operator==(const VlmPullProgress&) const = default;
};

} // namespace mnemora
