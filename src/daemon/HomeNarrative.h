#pragma once

#include <QJsonObject>
#include <QString>

#include <optional>

namespace mnemora {

// The narrative pieces of the home screen, from `home/narrative`. Each piece is a file the
// daemon's sessions write; a piece not written yet is absent.
struct HomeNarrative {
    struct Section {
        QString body;
        std::optional<QString> modifiedAt;
        QString path;
        bool operator==(const Section&) const = default;
    };

    std::optional<Section> currentContext;
    std::optional<Section> longHorizon;
    std::optional<Section> mayNeedAttention;
    std::optional<Section> eras;
    std::optional<Section> biography;
    std::optional<QString> lifeDir;

    static HomeNarrative fromJson(const QJsonObject& body);
    bool operator==(const HomeNarrative&) const = default;
};

} // namespace mnemora
