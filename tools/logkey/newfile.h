// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#ifndef NEWFILE_H
#define NEWFILE_H

#include <QByteArray>
#include <QString>
#include <QTemporaryFile>

/// A file that gets its name only once it is complete. Until then it is a temporary file in the
/// same directory, which nobody but its owner can read or write (mode 0600 from the moment that it
/// is made) and which is removed when nothing comes of it.
///
/// What returns bool returns false on failure, with the reason in errorString().
class NewFile
{
public:
    /// \a replace: whether a file that has the name \a path already is replaced.
    NewFile(const QString &path, bool replace);
    Q_DISABLE_COPY(NewFile)

    /// Whether both are to have one name in one directory, however their paths are written.
    bool isSameAs(const NewFile &other) const;
    /// Makes the temporary file. Fails also when the name is taken: better before the work than
    /// after it.
    bool open();
    /// Where to write; valid after open().
    int descriptor() const;
    bool write(const QByteArray &bytes);
    /// Lets everybody read the file (mode 0644).
    bool publish();
    /// Gives the file its name, once its content is safe on the disk. At no time is there half a
    /// file of that name, or none where there was one. A file that is not to be replaced is not,
    /// whoever made it in the meantime.
    bool commit();

    /// Why the last failing operation failed, behind the path.
    QString errorString() const;

private:
    bool fail(const QString &reason);

    QString m_path;
    bool m_replace;
    QTemporaryFile m_file;
    QString m_error;
};

#endif
