#include "ui/media/explorer_selection.h"

#include <algorithm>

namespace {

unsigned Above(unsigned item, unsigned total) {
    if (item >= kPageColumns) return item - kPageColumns;
    // From the first row to the last page: the column's lower picture, else its upper one, else the last of all.
    const unsigned upper = (PageCount(total) - 1) * kPageItems + item;
    if (upper + kPageColumns < total) return upper + kPageColumns;
    return std::min(upper, total - 1);
}

unsigned Below(unsigned item, unsigned total) {
    const unsigned column = item % kPageColumns;
    const unsigned next_row = item - column + kPageColumns;
    return next_row < total ? std::min(item + kPageColumns, total - 1) : column;
}

}  // namespace

unsigned MovedItem(unsigned item, unsigned total, ExplorerMove move) {
    if (total == 0) return 0;
    const unsigned last = total - 1;
    switch (move) {
        case ExplorerMove::Left:
            return item > 0 ? item - 1 : last;
        case ExplorerMove::Right:
            return item < last ? item + 1 : 0;
        case ExplorerMove::Up:
            return Above(item, total);
        case ExplorerMove::Down:
            return Below(item, total);
    }
    return item;
}
