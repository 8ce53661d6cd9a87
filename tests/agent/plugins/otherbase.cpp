// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include <QObject>
#include <QtPlugin>

#include <cstdio>

/// Claims the agent's interface and is something else.
class OtherBase : public QObject
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "com.tav.Keldrin.TAVKeldrinPlugin" FILE "otherbase.json")

public:
    OtherBase() = default;
    ~OtherBase() override
    {
        std::puts("otherbase: destructor");
        std::fflush(stdout);
    }
    Q_DISABLE_COPY(OtherBase)
};

#include "otherbase.moc"
