#include "cellstate.h"

#include <QCoreApplication>

namespace {
struct Texts
{
    Q_DECLARE_TR_FUNCTIONS(CellState)
};
} // namespace

QString cellStateText(CellState state)
{
    switch (state) {
    case CellState::Empty:
        return Texts::tr("No source");
    case CellState::Stopped:
        return Texts::tr("Stopped");
    case CellState::Connecting:
        return Texts::tr("Connecting…");
    case CellState::NoAnswer:
        return Texts::tr("Cannot be opened, trying again…");
    case CellState::Refused:
        return Texts::tr("Too many connections, trying again…");
    case CellState::Playing:
        return Texts::tr("Playing");
    case CellState::Paused:
        return Texts::tr("Paused");
    case CellState::Lost:
        return Texts::tr("Connection lost");
    case CellState::Ended:
        return Texts::tr("End of file");
    case CellState::Failed:
        return Texts::tr("Cannot be played");
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
