// SPDX-License-Identifier: Apache-2.0
#include "deployment/file_claim.h"

#include <gtest/gtest.h>

#include "support/make_chunk.h"

namespace zephran {
namespace {

using Chunks = std::vector<FileClaim::Chunk>;

const Chunks a_and_b{make_chunk("script", {"a", "b"})};
const Chunks b_and_c{make_chunk("script", {"b"}), make_chunk("script", {"c"})};
const Chunks only_c{make_chunk("script", {"c"})};

TEST(FileClaim, HoldsNothingAtFirst) {
    const FileClaim claim;

    EXPECT_FALSE(claim.is_held());
}

TEST(FileClaim, NameBelongsToTheFirst) {
    FileClaim first;
    FileClaim second;

    EXPECT_TRUE(first.acquire(a_and_b));
    EXPECT_FALSE(second.acquire(b_and_c));

    EXPECT_TRUE(first.is_held());
    EXPECT_FALSE(second.is_held());
}

TEST(FileClaim, NameInAnotherFolderIsAnotherName) {
    FileClaim first;
    FileClaim second;
    FileClaim third;
    constexpr auto kind = FileClaim::Names::of_partial_files_too;
    first.acquire(a_and_b, kind, "/downloads/one/");

    EXPECT_TRUE(second.acquire(a_and_b, kind, "/downloads/two/"));
    EXPECT_FALSE(third.acquire(a_and_b, kind, "/downloads/one/"));
}

TEST(FileClaim, RefusedClaimTakesNoName) {
    FileClaim first;
    FileClaim second;
    FileClaim third;
    first.acquire(a_and_b);

    EXPECT_FALSE(second.acquire(b_and_c));

    EXPECT_TRUE(third.acquire(only_c));
}

TEST(FileClaim, HeldClaimStaysWhatItIs) {
    FileClaim first;
    FileClaim second;
    first.acquire(a_and_b);

    EXPECT_TRUE(first.acquire(only_c));

    EXPECT_TRUE(second.acquire(only_c));
}

TEST(FileClaim, ReleasedNamesAreFree) {
    FileClaim first;
    FileClaim second;
    first.acquire(a_and_b);

    first.release();

    EXPECT_FALSE(first.is_held());
    EXPECT_TRUE(second.acquire(b_and_c));
}

TEST(FileClaim, SecondReleaseFreesNothingOfTheNextOwner) {
    FileClaim first;
    FileClaim second;
    FileClaim third;
    first.acquire(a_and_b);
    first.release();
    second.acquire(a_and_b);

    first.release();

    EXPECT_FALSE(third.acquire(b_and_c));
}

TEST(FileClaim, EndsWithTheObject) {
    FileClaim second;
    {
        FileClaim first;
        first.acquire(a_and_b);
    }

    EXPECT_TRUE(second.acquire(b_and_c));
}

TEST(FileClaim, ReleaseOfARefusedClaimFreesNothing) {
    FileClaim first;
    FileClaim second;
    first.acquire(a_and_b);
    second.acquire(b_and_c);

    second.release();

    EXPECT_FALSE(second.acquire(b_and_c));
}

TEST(FileClaim, DeploymentWithoutFilesIsNeverRefused) {
    FileClaim first;
    FileClaim second;
    first.acquire({});

    EXPECT_TRUE(first.is_held());
    EXPECT_TRUE(second.acquire({}));
}

}  // namespace
}  // namespace zephran
