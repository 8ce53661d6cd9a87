// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef MEASUREMENTS_H
#define MEASUREMENTS_H

#include <QtGlobal>

#include <array>
#include <cstddef>
#include <vector>

/// What this process holds at a moment, in the order of Measurements::kinds.
using Holdings = std::array<qint64, 4>;

/// Measures whether a process that works for a long time holds more and more.
class Measurements
{
public:
    struct Kind
    {
        const char *name;
        const char *column; ///< in a CSV file
        qint64 allowed;     ///< how much more at the end is no growth
    };
    static const std::array<Kind, std::tuple_size<Holdings>::value> kinds;

    struct Verdict
    {
        qint64 warm; ///< least in the second quarter of the time
        qint64 end;  ///< least in the last
        bool flat;
    };

    /// Takes memory for \a expected samples in advance, so that it does not measure itself.
    explicit Measurements(std::size_t expected) { m_samples.reserve(expected); }

    /// Takes a sample and returns it.
    const Holdings &add();

    /// Whether there is a sample for each quarter of the time, as judge() needs.
    bool areEnough() const { return m_samples.size() >= 4; }

    /// Whether each kind stayed flat. The least of a quarter leaves out what is held for a moment
    /// only. The first quarter is for warming up.
    std::array<Verdict, std::tuple_size<Holdings>::value> judge() const;

private:
    std::vector<Holdings> m_samples; // at regular intervals
};

#endif
