// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// A function that no library has. Bound lazily, the library would load all the same.
void definedNowhere();

void callsWhatIsDefinedNowhere();

__attribute__((visibility("default"))) void callsWhatIsDefinedNowhere()
{
    definedNowhere();
}
