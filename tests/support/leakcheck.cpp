// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// Linked with -Wl,--wrap=main into programs that have AddressSanitizer: looks for leaks when main()
// is over, not when the process is. What QtDBus's thread has queued by then, Qt throws away after
// it has forgotten how to destroy its arguments: a call that failed at the last moment would be
// reported as leaked, once in some thirty runs.

#include <sanitizer/lsan_interface.h>

extern "C" {

int __real_main(int argc, char **argv); // NOLINT(bugprone-reserved-identifier): the linker's name
int __wrap_main(int argc, char **argv); // NOLINT(bugprone-reserved-identifier): the linker's name

int __wrap_main(int argc, char **argv)
{
    const int status = __real_main(argc, argv);
    __lsan_do_leak_check();
    return status;
}
}
