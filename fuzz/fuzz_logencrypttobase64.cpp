// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// RsaCrypt::logEncryptToBase64(). OpenSSL's base64 and EVP interface must give the text back, with
// the build's private development key. A build with a given key has no private key, so it does not
// compare the text.

#include "judge.h"

#include <syncstatus/rsacrypt.h>

#include <openssl/err.h>

using logEncryption::RsaCrypt;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    static const PrivateKey key = *DEVELOPMENT_KEY ? keyFromFile(DEVELOPMENT_KEY) : nullptr;
    const QByteArray text(reinterpret_cast<const char *>(bytes), int(size));

    const QByteArray logText = RsaCrypt::logEncryptToBase64(text);
    require(ERR_peek_error() == 0, "the error queue is empty");

    require(logText.startsWith("LicenseLogEncryptSign"), "the marker comes first");
    const QByteArray base64 = logText.mid(21);
    QByteArray blocks(base64.size() / 4 * 3, '\0');
    require(EVP_DecodeBlock(reinterpret_cast<uchar *>(blocks.data()),
                            reinterpret_cast<const uchar *>(base64.constData()),
                            base64.size()) == blocks.size(),
            "standard base64 and nothing else");
    blocks.chop(base64.endsWith("==") ? 2 : base64.endsWith('=') ? 1 : 0);
    if (key)
        require(decrypted(key.get(), blocks) == text, "the text comes back");
    else
        require(blocks.isEmpty() == text.isEmpty(), "blocks for a text and for nothing else");
    return 0;
}
