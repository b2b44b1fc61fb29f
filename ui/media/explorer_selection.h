// Where the arrow keys lead in a list that is shown page by page, each page two rows of three.
#pragma once

constexpr unsigned kPageColumns = 3;
constexpr unsigned kPageItems = 2 * kPageColumns;

enum class ExplorerMove { Left, Right, Up, Down };

// Pages of a list.
constexpr unsigned PageCount(unsigned total) {
    return (total + kPageItems - 1) / kPageItems;
}

// The item that a move from `item`, one of `total`, leads to. Left and right go through the list and wrap at its ends.
// Up and down keep their column over all rows of the list, and wrap at its first and last row; where
// the row below is short, down takes its last picture.
unsigned MovedItem(unsigned item, unsigned total, ExplorerMove move);
