// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef ORDINARYUSER_H
#define ORDINARYUSER_H

#include <QFile>
#include <QString>

#include <sys/stat.h>
#include <unistd.h>

/// Gives this process an ordinary user's rights for a scope. Root, whom no file mode stops, is
/// another user meanwhile.
class OrdinaryUser
{
public:
    /// \a directory is opened to that user.
    explicit OrdinaryUser(const QString &directory)
    {
        const QByteArray name = QFile::encodeName(directory);
        // The real user too, because access() checks that one.
        if (m_isRoot &&
            (::chmod(name.constData(), 0777) != 0 || ::setresuid(nobody, nobody, 0) != 0))
            m_problem = QStringLiteral("root may not become an ordinary user here");
        else if (::access(name.constData(), R_OK | W_OK | X_OK) != 0)
            m_problem = directory + QStringLiteral(" is out of reach of an ordinary user");
    }
    ~OrdinaryUser()
    {
        if (m_isRoot && ::setresuid(0, 0, 0) != 0)
            qFatal("The process cannot become root again");
    }
    Q_DISABLE_COPY(OrdinaryUser)

    /// Why this was not possible; empty when it was.
    [[nodiscard]] const QString &problem() const { return m_problem; }

private:
    static constexpr uid_t nobody = 65534;
    bool m_isRoot = ::geteuid() == 0;
    QString m_problem;
};

#endif
