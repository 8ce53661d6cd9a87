// SPDX-FileCopyrightText: 2026 The SyncStatus developers
// SPDX-License-Identifier: Apache-2.0

#include "memoryuse.h"
#include "opensslprogram.h"
#include "opensslstandins.h"
#include "sanitizers.h"
#include "testprogram.h"

#include <syncstatus/rsacrypt.h>

#include <QtTest>

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <limits>

using logEncryption::RsaCrypt;

#ifdef SANITIZED
#define SKIP_IF_SANITIZED() QSKIP("millions of blocks take half a minute with a sanitizer")
#else
#define SKIP_IF_SANITIZED()
#endif

/// The longest inputs, with blocks that cost nothing: real ones would take hours.
class TestRsaLengths : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void decryptionTakesTheLongestInput();
    void publicDecryptionTakesTheLongestInput();
    void aKeyTextMayBeOfAnyLength();
    void encryptionGoesToItsLimit();
    void encryptionBeyondItsLimitGivesNothing();
    void theLimitIsExact();
    void logTextGoesToItsLimit();
    void logTextBeyondItsLimitIsTheMarkerAlone();

private:
    /// The first \a size bytes of 2^31 - 1 zeros, which take no memory.
    QByteArray input(int size) const { return QByteArray::fromRawData(m_zeros, size); }

    OpensslProgram m_openssl;
    RsaPair m_pair;
    const char *m_zeros = nullptr;
    qint64 m_blocks = 0;
    qint64 m_bytes = 0;
    int m_lastLength = 0;
};

namespace {

constexpr int longest = std::numeric_limits<int>::max();
constexpr size_t zerosSize = size_t(longest) + 1;
// With 2048 bits, as the header has them.
constexpr int longestText = 2055208715;
constexpr int longestLogText = 1541406475;

} // namespace

void TestRsaLengths::initTestCase()
{
    if (!OpensslProgram::exists())
        QSKIP("there is no openssl program to make a key");
    m_pair = m_openssl.rsaPair(2048);
    void *zeros =
        mmap(nullptr, zerosSize, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (zeros == MAP_FAILED)
        QSKIP("no 2 GiB of address space to be had");
    m_zeros = static_cast<const char *>(zeros);
}

void TestRsaLengths::init()
{
    standIns = OpensslStandIns();
    m_blocks = 0;
    m_bytes = 0;
    standIns.keySize = 256;
    standIns.block = [this](int length, const uchar *, uchar *) {
        ++m_blocks;
        m_bytes += length;
        m_lastLength = length;
        return -1;
    };
}

void TestRsaLengths::cleanup()
{
    standIns = OpensslStandIns();
}

void TestRsaLengths::decryptionTakesTheLongestInput()
{
    SKIP_IF_SANITIZED();
    QCOMPARE(RsaCrypt::rsaPrivateKeyDecrypt(input(longest), m_pair.privatePkcs8), QByteArray());
    QCOMPARE(m_blocks, qint64(8388608));
    QCOMPARE(m_bytes, qint64(longest));
    QCOMPARE(m_lastLength, 255);
}

void TestRsaLengths::publicDecryptionTakesTheLongestInput()
{
    QCOMPARE(RsaCrypt::rsaPublicKeyDecrypt(input(longest), m_pair.publicSpki), QByteArray());
    QCOMPARE(m_blocks, qint64(1));
    QCOMPARE(m_lastLength, longest);
    // And the real one refuses it.
    standIns = OpensslStandIns();
    QCOMPARE(RsaCrypt::rsaPublicKeyDecrypt(input(longest), m_pair.publicSpki), QByteArray());
}

void TestRsaLengths::aKeyTextMayBeOfAnyLength()
{
    standIns = OpensslStandIns();
    QCOMPARE(RsaCrypt::rsaPublicKeyEncrypt("x", input(longest)), QByteArray());
    QCOMPARE(RsaCrypt::rsaPublicKeyDecrypt("x", input(1 << 24)), QByteArray());
    QCOMPARE(RsaCrypt::rsaPrivateKeyDecrypt("x", input(1 << 24)), QByteArray());
}

void TestRsaLengths::encryptionGoesToItsLimit()
{
    SKIP_IF_SANITIZED();
    SKIP_WITHOUT_MEMORY(5);
    standIns.block = [this](int length, const uchar *, uchar *) {
        m_bytes += length;
        return 256;
    };
    QCOMPARE(RsaCrypt::rsaPublicKeyEncrypt(input(longestText), m_pair.publicSpki).size(),
             longestText / 245 * 256);
    QCOMPARE(m_bytes, qint64(longestText));
}

void TestRsaLengths::encryptionBeyondItsLimitGivesNothing()
{
    for (const int size : {longestText + 1, longest - 1, longest})
        QCOMPARE(RsaCrypt::rsaPublicKeyEncrypt(input(size), m_pair.publicSpki), QByteArray());
    QCOMPARE(m_blocks, qint64(0));
}

void TestRsaLengths::theLimitIsExact()
{
    // In a process that ends with the first block: there is no need for the other millions.
    const auto isEncrypted = [this](int keySize, int size) {
        standIns.keySize = keySize;
        standIns.block = [](int, const uchar *, uchar *) -> int { _exit(1); };
        const pid_t child = fork();
        if (child == 0) {
            RsaCrypt::rsaPublicKeyEncrypt(input(size), m_pair.publicSpki);
            _exit(0);
        }
        int status = -1;
        waitpid(child, &status, 0);
        return status != 0;
    };
    // 31 divides the limit, so that a result just as long is one of whole blocks.
    QVERIFY(isEncrypted(31, 20 * 69'273'665));
    QVERIFY(!isEncrypted(31, 20 * 69'273'665 + 1));
    // And 12 the number after it.
    QVERIFY(isEncrypted(12, 178'956'967));
    QVERIFY(!isEncrypted(12, 178'956'968));
}

void TestRsaLengths::logTextGoesToItsLimit()
{
    SKIP_IF_SANITIZED();
    SKIP_WITHOUT_MEMORY(9);
    standIns.block = [](int, const uchar *, uchar *) { return 256; };
    QCOMPARE(RsaCrypt::logEncryptToBase64(input(longestLogText)).size(),
             21 + (longestLogText / 245 * 256 + 2) / 3 * 4);
}

void TestRsaLengths::logTextBeyondItsLimitIsTheMarkerAlone()
{
    SKIP_WITHOUT_MEMORY(5);
    standIns.block = [](int, const uchar *, uchar *) { return 256; };
    QCOMPARE(RsaCrypt::logEncryptToBase64(input(longestLogText + 1)),
             QByteArray("LicenseLogEncryptSign"));
}

SYNCSTATUS_TEST(TestRsaLengths)
#include "tst_rsalengths.moc"
