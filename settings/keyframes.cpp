// SPDX-License-Identifier: MIT
#include "settings/keyframes.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace quorvel::settings {
namespace {

/// A coordinate of a cubic Bézier curve from 0 to 1 with the middle points a and b.
double bezier(double a, double b, double u) {
    const double rest = 1 - u;
    return 3 * rest * rest * u * a + 3 * rest * u * u * b + u * u * u;
}

double between(const Key& from, const Key& to, double time) {
    return from.value + (to.value - from.value) * from.toNext.done((time - from.time) / (to.time - from.time));
}

/// Of a value that goes from one key to the next, in units of the value for one of time.
double speed(const Key& from, const Key& to, double ease) {
    if (ease == 0 || to.value == from.value) {
        return 0;  // also where the other factor is infinite
    }
    return (to.value - from.value) / (to.time - from.time) * ease;
}

/// The time between the first key and the last that shows what a time outside of them does when the keys repeat.
double repeated(const std::vector<Key>& keys, double time) {
    const double first = keys.front().time;
    const double length = keys.back().time - first;
    const double passed = time - first;
    const double remainder = passed - length * std::floor(passed / length);
    // Decimal times are rounded, so a whole number of rounds may come out as a little less or more.
    const double rounding = 1e-9 * length;
    return remainder < rounding || remainder > length - rounding ? first : first + remainder;
}

}  // namespace

double Ease::done(double part) const {
    if (kind == Kind::Hold) {
        return part < 1 ? 0 : 1;
    }
    if (kind == Kind::Linear || part <= 0 || part >= 1) {
        return part;
    }
    // x grows with u, so halving finds the place; it ends where no number lies between the two.
    double low = 0;
    double high = 1;
    for (double u = 0.5; low < u && u < high; u = low + (high - low) / 2) {
        (bezier(x1, x2, u) < part ? low : high) = u;
    }
    return bezier(y1, y2, high);
}

double Ease::speedAtBegin() const {
    switch (kind) {
        case Kind::Linear:
            return 1;
        case Kind::Hold:
            return 0;
        case Kind::Curve:
            break;
    }
    return x1 > 0 ? y1 / x1 : y1 == 0 && x2 > 0 ? y2 / x2 : 0;
}

double Ease::speedAtEnd() const {
    switch (kind) {
        case Kind::Linear:
            return 1;
        case Kind::Hold:
            return 0;
        case Kind::Curve:
            break;
    }
    return x2 < 1 ? (1 - y2) / (1 - x2) : y2 == 1 && x1 < 1 ? (1 - y1) / (1 - x1) : 0;
}

double Keyframes::at(double time) const {
    if (!std::isfinite(time)) {
        return (time < 0 ? keys.front() : keys.back()).value;
    }
    if (time < keys.front().time || time > keys.back().time) {
        const bool early = time < keys.front().time;
        const Key& nearest = early ? keys.front() : keys.back();
        const Outside outside = early ? before : after;
        if (outside == Outside::Hold || keys.size() == 1) {
            return nearest.value;
        }
        if (outside == Outside::Extend) {
            const std::size_t last = keys.size() - 1;
            const double pace = early ? speed(keys[0], keys[1], keys[0].toNext.speedAtBegin())
                                      : speed(keys[last - 1], keys[last], keys[last - 1].toNext.speedAtEnd());
            return nearest.value + pace * (time - nearest.time);
        }
        time = std::clamp(repeated(keys, time), keys.front().time, keys.back().time);
    }
    // The first key that is not before the time.
    const auto next =
        std::lower_bound(keys.begin(), keys.end(), time, [](const Key& key, double t) { return key.time < t; });
    return next->time == time ? next->value : between(*(next - 1), *next, time);
}

}  // namespace quorvel::settings
