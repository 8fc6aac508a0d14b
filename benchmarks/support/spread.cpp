#include "support/spread.h"

#include <algorithm>

void Spread::add(double value) { values.insert(std::upper_bound(values.begin(), values.end(), value), value); }

double Spread::median() const
{
    const int middle = values.size() / 2;
    return values.size() % 2 == 1 ? values.at(middle) : (values.at(middle - 1) + values.at(middle)) / 2;
}

double Spread::lowest() const { return values.constFirst(); }

double Spread::highest() const { return values.constLast(); }

int Spread::count() const { return values.size(); }
