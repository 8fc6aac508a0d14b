#pragma once

class AbstractVideoWidget;

/// How the displays of cells look.
namespace CellLook {

constexpr int borderWidth = 4; ///< pixels, half of them outside the cell

void apply(AbstractVideoWidget* display);

/// Marks the display of the cell that keys and buttons work on.
void setSelected(AbstractVideoWidget* display, bool selected);

} // namespace CellLook
