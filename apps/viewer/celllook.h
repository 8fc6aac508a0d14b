#pragma once

class AbstractVideoWidget;

/// How the displays of cells look.
namespace CellLook {

constexpr int borderWidth = 4; ///< pixels, half of them outside the cell

/// @p hasStreams: with a button that changes between the streams.
void apply(AbstractVideoWidget* display, bool hasStreams);

/// Marks the display of the cell that keys and buttons work on.
void setSelected(AbstractVideoWidget* display, bool selected);

} // namespace CellLook
