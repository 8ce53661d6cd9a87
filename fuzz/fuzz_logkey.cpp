// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

// `syncstatus-logkey check` on any file, and on the pieces of any text. It must join the files that
// the build accepts, and find a key if the library can encrypt with it. The data of the input is
// the file, its key the text.

#include "judge.h"

#include <custompluginmanager/secretkeysplit.h>
#include <syncstatus/rsacrypt.h>

#include <QRegularExpression>
#include <QStringList>

#include <keypieces.h>
#include <openssl/err.h>
#include <rsakey.h>

using logEncryption::RsaCrypt;

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    answerNoQuestions();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size)
{
    // As in cmake/LogKeyHeader.cmake.
    static const QRegularExpression buildTakes(
        QStringLiteral(R"(\A(3-1-[!-~]+)\r?\n(3-2-[!-~]+)\r?\n(3-3-[!-~]+)\r?\n?\z)"));
    const DataAndKey input(bytes, size);

    QString error;
    const QByteArray joined = joinPieces(input.data, &error);
    require(joined.isEmpty() != error.isEmpty(), "a text or an error");
    require(joined.isEmpty() ||
                buildTakes.match(QString::fromLatin1(input.data.constData(), input.data.size()))
                    .hasMatch(),
            "the build accepts it");

    const QStringList pieces = SecretkeySplit::splitSecretKey(input.pem, keyPieceCount);
    error.clear();
    require(joinPieces(pieces.join(QLatin1Char('\n')).toLatin1(), &error) == input.pem,
            "the pieces join");

    error.clear();
    const RsaKey key = readLibraryKey(input.pem, &error);
    require(bool(key) == error.isEmpty(), "a key or an error");
    require(ERR_peek_error() == 0, "the error queue is empty");
    const bool encrypts = !RsaCrypt::rsaPublicKeyEncrypt("x", input.pem).isEmpty();
    if (key)
        require(encrypts, "the library reads it, too");
    else
        require(!encrypts || input.pem.contains("PRIVATE KEY-----"), "nor does the library");
    return 0;
}
