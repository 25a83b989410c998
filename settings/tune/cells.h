#ifndef VELTRANE_SETTINGS_TUNE_CELLS_H
#define VELTRANE_SETTINGS_TUNE_CELLS_H

#include <array>
#include <cstddef>
#include <vector>

namespace veltrane {

/// Blue, green and red in linear light, 0..1.
using LinearColor = std::array<float, 3>;

/// Values on a grid of cells, row by row.
template <class T>
struct Cells {
    Cells() = default;
    Cells(int columns, int rows, T value = {})
        : width(columns),
          height(rows),
          values(static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows), value) {}

    T& At(int x, int y) { return values[static_cast<std::size_t>(y) * width + x]; }
    const T& At(int x, int y) const { return values[static_cast<std::size_t>(y) * width + x]; }

    int width = 0;
    int height = 0;
    std::vector<T> values;
};

/// Whether a cell belongs to a set.
using CellMask = Cells<unsigned char>;

/// How many steps to a neighbour of eight it takes from each cell to the nearest of the set; more
/// than any distance in the grid where the set is empty.
Cells<int> DistanceTo(const CellMask& set);

/// The set without cells of which fewer than least of the nine around and at them belong to it.
CellMask WithoutSpecks(const CellMask& set, int least);

/// The greatest less the least value of the nine cells around and at each one.
Cells<float> LocalSpread(const Cells<float>& values);

/// The least value of the square that reaches so many cells to each side.
Cells<float> LocalMinimum(const Cells<float>& values, int reach);

/// Gives every cell a colour: as much of its own as its weight of 0..1 says, the rest from weighted
/// means over ever larger squares around it. Without any weight the colours stay.
void FillByWeight(Cells<LinearColor>& colors, Cells<float> weights);

}  // namespace veltrane

#endif
