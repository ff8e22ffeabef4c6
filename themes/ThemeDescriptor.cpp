#include "themes/ThemeDescriptor.h"

#include <fmt/format.h>

namespace morvel {

std::string ThemeDescriptor::coverageSummary() const {
    const std::size_t count = authoredCategories.size();
    if (count == soundCategoryCount)
        return fmt::format("All {} categories", count);
    return fmt::format("{} of {} categories, {} inherited from Default", count, soundCategoryCount,
                       soundCategoryCount - count);
}

std::string_view label(ThemeDescriptor::Source source) {
    return source == ThemeDescriptor::Source::bundled ? "Built-in" : "Installed";
}

} // namespace morvel
