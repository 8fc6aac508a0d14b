#pragma once

#include "support/moviefile.h"
#include "support/testpicture.h"

#include <QVector>

/// What somebody finds in the recording of a live stream whose pictures are those of testpicture.h.
class LiveFile
{
public:
    explicit LiveFile(const QString& path)
        : movie(path)
        , numbers(movie.pictureNumbers())
    {
    }

    const MovieFile movie;
    const QVector<int> numbers;

    /// Pictures one after the other, none missing, from one number to another.
    QVector<QVector<int>> runs() const
    {
        QVector<QVector<int>> found;
        for (const int number : numbers) {
            if (found.isEmpty() || number != (found.last().last() + 1) % TestPicture::count)
                found.append(QVector<int>());
            found.last().append(number);
        }
        return found;
    }

    /// The runs, for messages: "20-33 0-15".
    QString runsText() const
    {
        QStringList parts;
        for (const QVector<int>& run : runs())
            parts.append(QString("%1-%2").arg(run.first()).arg(run.last()));
        return parts.join(' ');
    }
};
