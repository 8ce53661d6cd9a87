// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef THROWSNOTHING_H
#define THROWSNOTHING_H

#include <type_traits>

template <typename Operation>
struct IsNoexcept : std::false_type
{
};
template <typename Result, typename... Arguments>
struct IsNoexcept<Result (*)(Arguments...) noexcept> : std::true_type
{
};

/// Whether all \a operations, pointers to functions, are declared noexcept.
template <typename... Operations>
constexpr bool throwsNothing(Operations...)
{
    return (IsNoexcept<Operations>::value && ...);
}

#endif
