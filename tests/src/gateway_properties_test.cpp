// SPDX-License-Identifier: Apache-2.0
#include "gateway_properties.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/json.h"
#include "support/captured_log.h"
#include "support/temporary_directory.h"

namespace zephran {
namespace {

using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Pair;
using testing::UnorderedElementsAre;

TEST(GatewayProperties, MembersBecomeStringsAndAreLoggedSortedByName) {
    const TemporaryDirectory directory;
    const std::string path = directory.write("properties", R"({"b":"2","a":1,"dormant":"1"})");
    const CapturedLog log;

    const hawkbit::Attributes properties = read_gateway_properties(path);

    EXPECT_THAT(properties,
                UnorderedElementsAre(Pair("a", "1"), Pair("b", "2"), Pair("dormant", "1")));
    const std::string prefix =
        "[^\n]* INFO gateway_properties[.]cpp:[0-9]+ extract_gateway_config: event=add_property ";
    EXPECT_THAT(log.text(), MatchesRegex(prefix + "key=a value=1\n" + prefix + "key=b value=2\n" +
                                         prefix + "key=dormant value=1\n"));
}

TEST(GatewayProperties, BooleansNumbersAndNullAreConverted) {
    const TemporaryDirectory directory;
    const std::string path =
        directory.write("properties", R"({"t":true,"f":false,"n":null,"i":-7,"r":1.5,"e":""})");

    EXPECT_THAT(read_gateway_properties(path),
                UnorderedElementsAre(Pair("t", "true"), Pair("f", "false"), Pair("n", ""),
                                     Pair("i", "-7"), Pair("r", "1.5"), Pair("e", "")));
}

TEST(GatewayProperties, EmptyObjectYieldsNoProperties) {
    const TemporaryDirectory directory;

    EXPECT_THAT(read_gateway_properties(directory.write("properties", "{}")), IsEmpty());
}

TEST(GatewayProperties, MissingFileIsAParserError) {
    const TemporaryDirectory directory;

    EXPECT_THROW(read_gateway_properties(directory.path("absent")), common::ParserException);
}

TEST(GatewayProperties, DirectoryIsAParserError) {
    const TemporaryDirectory directory;

    EXPECT_THROW(read_gateway_properties(directory.path()), common::ParserException);
}

TEST(GatewayProperties, MalformedTextIsAParserError) {
    const TemporaryDirectory directory;

    EXPECT_THROW(read_gateway_properties(directory.write("properties", R"({"a":)")),
                 common::ParserException);
}

TEST(GatewayProperties, NestedMembersCannotBeConverted) {
    const TemporaryDirectory directory;

    EXPECT_THROW(read_gateway_properties(directory.write("array", R"({"a":[1]})")),
                 Json::Exception);
    EXPECT_THROW(read_gateway_properties(directory.write("object", R"({"a":{"b":1}})")),
                 Json::Exception);
}

}  // namespace
}  // namespace zephran
