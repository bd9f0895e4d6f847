// SPDX-License-Identifier: Apache-2.0
// OpenSSL 3 prefers its EVP functions.
#define OPENSSL_SUPPRESS_DEPRECATED

#include <string>

#include <gtest/gtest.h>
#include <openssl/md5.h>

#include "crypto/md5.h"

namespace {

/// What the digest functions return, and how often contexts were finished.
struct DigestFunctions {
    int init_result = 1;
    int update_result = 1;
    int final_result = 1;
    int finals = 0;
};

DigestFunctions functions;

}  // namespace

// The linker sends the calls of the code under test here (--wrap); the names are its rule.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-identifier-naming)
extern "C" {

int __real_MD5_Init(MD5_CTX* context);
int __real_MD5_Update(MD5_CTX* context, const void* data, std::size_t length);
int __real_MD5_Final(unsigned char* digest, MD5_CTX* context);

int __wrap_MD5_Init(MD5_CTX* context) {
    __real_MD5_Init(context);
    return functions.init_result;
}

int __wrap_MD5_Update(MD5_CTX* context, const void* data, std::size_t length) {
    __real_MD5_Update(context, data, length);
    return functions.update_result;
}

int __wrap_MD5_Final(unsigned char* digest, MD5_CTX* context) {
    ++functions.finals;
    __real_MD5_Final(digest, context);
    return functions.final_result;
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-identifier-naming)

namespace zephran::crypto {
namespace {

class MD5Failure : public ::testing::Test {
protected:
    void SetUp() override { functions = {}; }
    void TearDown() override { functions = {}; }
};

TEST_F(MD5Failure, HashThatCannotBeBegunIsNotMade) {
    for (const int result : {0, 2, -1}) {
        functions.init_result = result;

        EXPECT_THROW(MD5{}, MD5Exception) << result;
    }
}

TEST_F(MD5Failure, UpdateThatFailsIsReported) {
    MD5 md5;

    for (const int result : {0, 2, -1}) {
        functions.update_result = result;

        EXPECT_THROW(md5.update(std::string{"abc"}), MD5Exception) << result;
    }
}

TEST_F(MD5Failure, DigestThatCannotBeFinishedIsReported) {
    MD5 md5;

    for (const int result : {0, 2, -1}) {
        functions.final_result = result;

        EXPECT_THROW(md5.digest(), MD5Exception) << result;
    }
}

TEST_F(MD5Failure, DigestWhoseSuccessorCannotBeBegunIsReported) {
    MD5 md5;
    functions.init_result = 0;

    EXPECT_THROW(md5.digest(), MD5Exception);
}

TEST_F(MD5Failure, EndOfAHashFinishesItWhateverTheResult) {
    functions.final_result = 0;

    { const MD5 md5; }

    EXPECT_EQ(functions.finals, 1);
}

}  // namespace
}  // namespace zephran::crypto
