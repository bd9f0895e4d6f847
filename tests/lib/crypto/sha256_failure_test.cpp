// SPDX-License-Identifier: Apache-2.0
// OpenSSL 3 prefers its EVP functions.
#define OPENSSL_SUPPRESS_DEPRECATED

#include <string>

#include <gtest/gtest.h>
#include <openssl/sha.h>

#include "crypto/sha256.h"

namespace {

/// What the digest functions return.
struct SHA256Functions {
    int init_result = 1;
    int update_result = 1;
    int final_result = 1;
};

SHA256Functions sha256_functions;

}  // namespace

// The linker sends the calls of the code under test here (--wrap); the names are its rule.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-identifier-naming)
extern "C" {

int __real_SHA256_Init(SHA256_CTX* context);
int __real_SHA256_Update(SHA256_CTX* context, const void* data, std::size_t length);
int __real_SHA256_Final(unsigned char* digest, SHA256_CTX* context);

int __wrap_SHA256_Init(SHA256_CTX* context) {
    __real_SHA256_Init(context);
    return sha256_functions.init_result;
}

int __wrap_SHA256_Update(SHA256_CTX* context, const void* data, std::size_t length) {
    __real_SHA256_Update(context, data, length);
    return sha256_functions.update_result;
}

int __wrap_SHA256_Final(unsigned char* digest, SHA256_CTX* context) {
    __real_SHA256_Final(digest, context);
    return sha256_functions.final_result;
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-identifier-naming)

namespace zephran::crypto {
namespace {

class SHA256Failure : public ::testing::Test {
protected:
    void SetUp() override { sha256_functions = {}; }
    void TearDown() override { sha256_functions = {}; }
};

TEST_F(SHA256Failure, HashThatCannotBeBegunIsNotMade) {
    for (const int result : {0, 2, -1}) {
        sha256_functions.init_result = result;

        EXPECT_THROW(SHA256{}, SHA256Exception) << result;
    }
}

TEST_F(SHA256Failure, UpdateThatFailsIsReported) {
    SHA256 sha256;

    for (const int result : {0, 2, -1}) {
        sha256_functions.update_result = result;

        EXPECT_THROW(sha256.update(std::string{"abc"}), SHA256Exception) << result;
    }
}

TEST_F(SHA256Failure, DigestThatCannotBeFinishedIsReported) {
    SHA256 sha256;

    for (const int result : {0, 2, -1}) {
        sha256_functions.final_result = result;

        EXPECT_THROW(sha256.digest(), SHA256Exception) << result;
    }
}

TEST_F(SHA256Failure, FailureSaysWhichSumIsMissing) {
    EXPECT_STREQ(SHA256Exception{}.what(), "Failed to calculate SHA-256 sum");
}

TEST_F(SHA256Failure, DigestWhoseSuccessorCannotBeBegunIsReported) {
    SHA256 sha256;
    sha256_functions.init_result = 0;

    EXPECT_THROW(sha256.digest(), SHA256Exception);
}

}  // namespace
}  // namespace zephran::crypto
