#pragma once

#include <QtGlobal>

/// What a shown picture that should be one of support/testpicture.h looks like.
struct PictureState
{
    enum State {
        Good,    ///< its colours and its number are right
        Damaged, ///< some of it is wrong, as where packets were lost
        Grey     ///< most of it is the grey that a decoder shows for what it never got
    };

    State state = Good;
    int number = -1; ///< -1: not to be read

    /// Of planes as receiveFrame() has them. Any thread.
    static PictureState of(int width, int height, const quint8* y, const quint8* u, const quint8* v, quint32 lineY,
                           quint32 lineUV);

    const char* name() const;
};
