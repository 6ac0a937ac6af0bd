// SPDX-License-Identifier: MIT
// Values that move: keys at frames or times, and what lies between them. Computed with + - * / alone, so that every
// machine gets the same bits.
#pragma once

#include <vector>

namespace quorvel::settings {

/// How a value gets from one key to the next.
struct Ease {
    enum class Kind {
        Linear,
        Hold,   ///< keeps the key's value up to the next key
        Curve,  ///< follows a cubic Bézier curve
    };
    Kind kind = Kind::Linear;
    /// The curve's two middle points; it goes from (0, 0) at the key to (1, 1) at the next. x is time, 0 to 1.
    double x1 = 0, y1 = 0, x2 = 1, y2 = 1;

    bool operator==(const Ease&) const = default;

    /// How much of the way is done, 0 to 1 or beyond where the curve overshoots, after `part` (0 to 1) of the time.
    double done(double part) const;
    /// How fast the curve begins and ends; 1 is linear. 0 where a curve begins or ends in no direction but upwards.
    double speedAtBegin() const;
    double speedAtEnd() const;
};

/// Slow at both ends.
inline constexpr Ease kSmooth{Ease::Kind::Curve, 0.42, 0, 0.58, 1};

/// What a value does before its first key, or after its last.
enum class Outside {
    Hold,    ///< keeps the key's value
    Repeat,  ///< goes through the keys again and again
    Extend,  ///< goes on as fast as it was at the key
};

struct Key {
    double time = 0;  ///< in the unit of the keyframes
    double value = 0;
    Ease toNext;

    bool operator==(const Key&) const = default;
};

/// The keys of one value: at least one, in ascending order of their times, of which no two are equal.
struct Keyframes {
    enum class Unit { Frames, Seconds };
    Unit unit = Unit::Frames;
    std::vector<Key> keys;
    Outside before = Outside::Hold;
    Outside after = Outside::Hold;

    bool operator==(const Keyframes&) const = default;

    /// The value at a time; at a key's time exactly the key's value. A time that is not finite has the value of the
    /// first or the last key.
    double at(double time) const;
};

}  // namespace quorvel::settings
