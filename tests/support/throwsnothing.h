// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef THROWSNOTHING_H
#define THROWSNOTHING_H

template <typename Operation>
constexpr bool isNoexcept = false;
template <typename Result, typename... Arguments>
constexpr bool isNoexcept<Result (*)(Arguments...) noexcept> = true;

/// Whether all \a operations, pointers to functions, are declared noexcept.
template <typename... Operations>
constexpr bool throwsNothing(Operations...)
{
    return (isNoexcept<Operations> && ...);
}

#endif
