// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "descriptors.h"

#include <QDir>

#include <fcntl.h>
#include <unistd.h>

int openDescriptors()
{
    return QDir(QStringLiteral("/proc/self/fd"))
        .entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)
        .size();
}

DescriptorShortage::DescriptorShortage(int left)
{
    // The limit may be a million. A low one does as well, and whatever is open above it stays open.
    getrlimit(RLIMIT_NOFILE, &m_before);
    rlimit low = m_before;
    low.rlim_cur = qMin(low.rlim_cur, rlim_t(256));
    setrlimit(RLIMIT_NOFILE, &low);
    for (int taken = open("/dev/null", O_RDONLY | O_CLOEXEC); taken >= 0;
         taken = open("/dev/null", O_RDONLY | O_CLOEXEC))
        m_taken.append(taken);
    while (left-- > 0 && !m_taken.isEmpty())
        close(m_taken.takeLast());
}

DescriptorShortage::~DescriptorShortage()
{
    for (const int taken : qAsConst(m_taken))
        close(taken);
    setrlimit(RLIMIT_NOFILE, &m_before);
}
