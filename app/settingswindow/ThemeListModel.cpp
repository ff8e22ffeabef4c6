#include "app/settingswindow/ThemeListModel.h"

#include <algorithm>
#include <cstddef>

namespace morvel {

ThemeListModel::ThemeListModel(ThemeController& themes)
    : themes_(themes)
    , shown_(themes.available()) {
    connect(&themes, &ThemeController::availableChanged, this, &ThemeListModel::follow);
    connect(&themes, &ThemeController::activeThemeIDChanged, this, [this] {
        if (!shown_.empty())
            emit dataChanged(index(0), index(rowCount() - 1), {active});
    });
}

// Rows whose themes are still the same ones stay, with the keyboard where it was.
void ThemeListModel::follow() {
    const auto& now = themes_.available();
    const bool sameThemes =
        std::ranges::equal(now, shown_, {}, &ThemeDescriptor::id, &ThemeDescriptor::id);
    if (sameThemes) {
        shown_ = now;
        if (!shown_.empty())
            emit dataChanged(index(0), index(rowCount() - 1));
        return;
    }
    beginResetModel();
    shown_ = now;
    endResetModel();
}

int ThemeListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(shown_.size());
}

QVariant ThemeListModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    const ThemeDescriptor& theme = shown_[static_cast<std::size_t>(index.row())];
    switch (role) {
    case name:
        return QString::fromStdString(theme.name);
    case sourceLabel: {
        const std::string_view text = label(theme.source);
        return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
    }
    case author:
        return QString::fromStdString(theme.author.value_or(""));
    case coverageSummary:
        return QString::fromStdString(theme.coverageSummary());
    case active:
        return theme.id == themes_.activeThemeID();
    default:
        return {};
    }
}

QHash<int, QByteArray> ThemeListModel::roleNames() const {
    return {{name, "name"},
            {sourceLabel, "sourceLabel"},
            {author, "author"},
            {coverageSummary, "coverageSummary"},
            {active, "active"}};
}

std::optional<std::string> ThemeListModel::idAt(int row) const {
    if (row < 0 || row >= rowCount())
        return std::nullopt;
    return shown_[static_cast<std::size_t>(row)].id;
}

} // namespace morvel
