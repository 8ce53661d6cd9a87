// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "filestandins.h"

#include "standin.h"

#include <QDir>
#include <QFile>
#include <QString>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <utility>

Faults faults; // clazy:exclude=non-pod-global-static

namespace {

bool isRefused(Need need)
{
    if (faults.error == 0 || need > faults.upTo || ++faults.changes < faults.refusedFrom)
        return false;
    errno = faults.error;
    return true;
}

// To be called before something is done to the path.
void use(const QByteArray &path)
{
    if (faults.vanishing.isEmpty() ||
        (path != faults.vanishing && !path.startsWith(faults.vanishing + '/')) ||
        ++faults.used != faults.vanishesBefore)
        return;
    const QString vanishing = QFile::decodeName(std::exchange(faults.vanishing, {}));
    QFile::remove(vanishing);
    QDir(vanishing).removeRecursively();
}

} // namespace

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): its names are reserved ones

STANDIN int open64(const char *path, int flags, ...)
{
    std::va_list list;
    va_start(list, flags);
    const bool isTemporary = (flags & O_TMPFILE) == O_TMPFILE;
    const mode_t mode = isTemporary || (flags & O_CREAT) ? va_arg(list, mode_t) : 0;
    va_end(list);
    if ((flags & O_ACCMODE) != O_RDONLY) {
        const bool isMade = isTemporary || ((flags & O_CREAT) && access(path, F_OK) != 0);
        if (isRefused(isMade ? Need::Name : Need::Nothing))
            return -1;
    }
    use(path);
    return NEXT(open64)(path, flags, mode);
}

STANDIN ssize_t write(int descriptor, const void *data, size_t size)
{
    struct stat status = {};
    fstat(descriptor, &status);
    if (S_ISREG(status.st_mode) && isRefused(Need::Data)) // Qt wakes its event loop this way, too
        return -1;
    return NEXT(write)(descriptor, data, size);
}

STANDIN int ftruncate64(int descriptor, off64_t size) noexcept
{
    ++faults.truncations;
    use(faults.vanishing); // nothing else is truncated
    if (isRefused(Need::Nothing))
        return -1;
    return faults.ignoresTruncation ? 0 : NEXT(ftruncate64)(descriptor, size);
}

STANDIN int futimens(int descriptor, const timespec times[2]) noexcept
{
    ++faults.stamps;
    if (isRefused(Need::Nothing))
        return -1;
    return faults.nextTick.hasExpired() ? NEXT(futimens)(descriptor, times) : 0;
}

STANDIN int rename(const char *from, const char *to) noexcept
{
    use(from);
    if (isRefused(Need::Name) || NEXT(rename)(from, to) != 0)
        return -1;
    faults.placed = to;
    return 0;
}

STANDIN int linkat(int fromFolder, const char *from, int toFolder, const char *to,
                   int flags) noexcept
{
    use(to);
    if (isRefused(Need::Name) || NEXT(linkat)(fromFolder, from, toFolder, to, flags) != 0)
        return -1;
    faults.placed = to;
    return 0;
}

STANDIN int unlink(const char *path) noexcept
{
    use(path);
    return isRefused(Need::Nothing) ? -1 : NEXT(unlink)(path);
}

STANDIN int mkdir(const char *path, mode_t mode) noexcept
{
    return isRefused(Need::Name) ? -1 : NEXT(mkdir)(path, mode);
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name)
