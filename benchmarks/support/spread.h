#pragma once

#include <QVector>

/// One figure as several rounds gave it.
class Spread
{
public:
    void add(double value);

    /// Of an even number of rounds the mean of the two in the middle.
    double median() const;

    double lowest() const;
    double highest() const;
    int count() const;

private:
    QVector<double> values; ///< ascending
};
