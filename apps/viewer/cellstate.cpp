#include "cellstate.h"

#include <QCoreApplication>

namespace {
QString text(const char* english) { return QCoreApplication::translate("CellState", english); }
} // namespace

QString cellStateText(CellState state)
{
    switch (state) {
    case CellState::Empty:
        return text("No source");
    case CellState::Stopped:
        return text("Stopped");
    case CellState::Connecting:
        return text("Connecting…");
    case CellState::NoAnswer:
        return text("Cannot be opened, trying again…");
    case CellState::Refused:
        return text("Too many connections, trying again…");
    case CellState::Playing:
        return text("Playing");
    case CellState::Paused:
        return text("Paused");
    case CellState::Lost:
        return text("Connection lost");
    case CellState::Ended:
        return text("End of file");
    case CellState::Failed:
        return text("Cannot be played");
    }
    return {};
}

QColor cellStateColor(CellState state)
{
    switch (state) {
    case CellState::Playing:
        return "#5BD68A";
    case CellState::Connecting:
    case CellState::Paused:
        return "#F2C14E";
    case CellState::NoAnswer:
    case CellState::Refused:
    case CellState::Lost:
    case CellState::Failed:
        return "#FF6B5E";
    case CellState::Empty:
    case CellState::Stopped:
    case CellState::Ended:
        break;
    }
    return "#9AA4AF";
}
