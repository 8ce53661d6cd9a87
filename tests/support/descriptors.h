// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef DESCRIPTORS_H
#define DESCRIPTORS_H

#include <QVector>

#include <sys/resource.h>

/// How many file descriptors this process has open.
int openDescriptors();

/// Takes all of the process's file descriptors for a scope, but \a left, so that what needs more
/// meets EMFILE, "Too many open files".
class DescriptorShortage
{
public:
    explicit DescriptorShortage(int left = 0);
    ~DescriptorShortage();
    Q_DISABLE_COPY(DescriptorShortage)

private:
    rlimit m_before = {};
    QVector<int> m_taken;
};

#endif
