// The themes that can be chosen, for a list. Follows the theme controller. Main thread.
#pragma once

#include "themes/controller/ThemeController.h"

#include <QAbstractListModel>
#include <vector>

namespace morvel {

class ThemeListModel : public QAbstractListModel {
    Q_OBJECT

public:
    enum Role {
        name = Qt::UserRole,
        sourceLabel,
        author, // empty where the theme names none
        coverageSummary,
        active,
    };

    // `themes` must outlive the model.
    explicit ThemeListModel(ThemeController& themes);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    // None for a row that is not there.
    std::optional<std::string> idAt(int row) const;

private:
    void follow();

    ThemeController& themes_;
    std::vector<ThemeDescriptor> shown_;
};

} // namespace morvel
