// SPDX-License-Identifier: Apache-2.0
#include "ghn/config_layer_command.h"

#include <stdexcept>
#include <utility>

#include <boost/exception/exception.hpp>
#include <gtest/gtest.h>

namespace zephran::ghn {
namespace {

TEST(ConfigLayerCommand, NewCommandIsOnlyTheToolName) {
    EXPECT_EQ(ConfigLayerCommand{}.build(), "configlayer");
}

TEST(ConfigLayerCommand, OptionsAndValuesAreSeparatedByOneSpace) {
    ConfigLayerCommand command;

    command.interface("I").password("P").operation(ConfigLayerOperation::get).parameter("X");

    EXPECT_EQ(command.build(), "configlayer -i I -w P -o GET -p X");
}

TEST(ConfigLayerCommand, EveryOptionIsAppendedInTheOrderOfTheCalls) {
    ConfigLayerCommand command;

    ConfigLayerCommand& chained = command.parameter("B", "2")
                                      .parameter("A")
                                      .operation(ConfigLayerOperation::set)
                                      .mac_address("any text")
                                      .password("word")
                                      .interface("br-lan")
                                      .retries(15)
                                      .timeout(5000);

    EXPECT_EQ(&chained, &command);
    EXPECT_EQ(command.build(),
              "configlayer -p B=2 -p A -o SET -m any text -w word -i br-lan -r 15 -t 5000");
}

TEST(ConfigLayerCommand, NumbersKeepTheirSign) {
    EXPECT_EQ(ConfigLayerCommand{}.timeout(-1).retries(0).build(), "configlayer -t -1 -r 0");
}

TEST(ConfigLayerCommand, AddressIsWrittenInLowerCase) {
    const auto address = common::MacAddress::parse("00:13:9D:0A:0B:FF");

    EXPECT_EQ(ConfigLayerCommand{}.mac_address(address).build(),
              "configlayer -m 00:13:9d:0a:0b:ff");
}

TEST(ConfigLayerCommand, UnsetAddressIsWrittenAsZeros) {
    EXPECT_EQ(ConfigLayerCommand{}.mac_address(common::MacAddress{}).build(),
              "configlayer -m 00:00:00:00:00:00");
}

TEST(ConfigLayerCommand, AddressTextIsNotValidated) {
    EXPECT_EQ(ConfigLayerCommand{}.mac_address("AA:bb").build(), "configlayer -m AA:bb");
}

TEST(ConfigLayerCommand, OperationsAreWrittenAsWords) {
    EXPECT_EQ(ConfigLayerCommand{}.operation(ConfigLayerOperation::get).build(),
              "configlayer -o GET");
    EXPECT_EQ(ConfigLayerCommand{}.operation(ConfigLayerOperation::set).build(),
              "configlayer -o SET");
    EXPECT_EQ(ConfigLayerCommand{}.operation(ConfigLayerOperation::discover).build(),
              "configlayer -o DISCOVER");
}

TEST(ConfigLayerCommand, OperationsHaveFixedNumbers) {
    EXPECT_EQ(static_cast<int>(ConfigLayerOperation::get), 0);
    EXPECT_EQ(static_cast<int>(ConfigLayerOperation::set), 1);
    EXPECT_EQ(static_cast<int>(ConfigLayerOperation::discover), 2);
}

TEST(ConfigLayerCommand, UnknownOperationIsRejected) {
    for (const int number : {-1, 3}) {
        ConfigLayerCommand command;
        try {
            command.operation(static_cast<ConfigLayerOperation>(number));
            FAIL() << number << " was taken";
        } catch (const std::invalid_argument& error) {
            EXPECT_STREQ(error.what(), "op");
            EXPECT_NE(dynamic_cast<const boost::exception*>(&error), nullptr);
        }
    }
}

TEST(ConfigLayerCommand, SpacesInValuesAreNotQuoted) {
    EXPECT_EQ(ConfigLayerCommand{}.password("two words").parameter("A", "$x 'y'").build(),
              "configlayer -w two words -p A=$x 'y'");
}

TEST(ConfigLayerCommand, ValuesCanBeQuoted) {
    ConfigLayerCommand command{ConfigLayerQuoting::shell};
    command.interface("I")
        .password("two & more")
        .mac_address("M")
        .parameter("A")
        .parameter("B", "it's");

    EXPECT_EQ(command.timeout(5).build(),
              R"(configlayer -i 'I' -w 'two & more' -m 'M' -p A -p B='it'\''s' -t 5)");
    EXPECT_EQ(command.clone().interface("J").build(), command.build() + " -i 'J'");
}

TEST(ConfigLayerCommand, AssignedCommandQuotesAsItsSource) {
    const ConfigLayerCommand quoting{ConfigLayerQuoting::shell};
    ConfigLayerCommand assigned;

    assigned = quoting;

    EXPECT_EQ(assigned.interface("I").build(), "configlayer -i 'I'");
}

TEST(ConfigLayerCommand, QuotedPasswordIsRemovedInBothForms) {
    ConfigLayerCommand command{ConfigLayerQuoting::shell};
    command.password("it's");

    EXPECT_EQ(command.without_password(command.build() + " no it's not"),
              "configlayer -w *** no *** not");
}

TEST(ConfigLayerCommand, OptionsWithEmptyValuesAreKept) {
    EXPECT_EQ(ConfigLayerCommand{}.interface("").password("").parameter("A", "").build(),
              "configlayer -i  -w  -p A=");
}

TEST(ConfigLayerCommand, BuildingChangesNothing) {
    ConfigLayerCommand command;
    command.interface("I");

    EXPECT_EQ(command.build(), command.build());
    EXPECT_EQ(command.password("P").build(), "configlayer -i I -w P");
}

TEST(ConfigLayerCommand, CloneAndOriginalAreIndependent) {
    ConfigLayerCommand original;
    original.interface("I");

    ConfigLayerCommand clone = original.clone();
    clone.parameter("X");
    original.parameter("Y");

    EXPECT_EQ(clone.build(), "configlayer -i I -p X");
    EXPECT_EQ(original.build(), "configlayer -i I -p Y");
}

TEST(ConfigLayerCommand, CopyAppendsToTheTextSoFar) {
    ConfigLayerCommand original;
    original.interface("I");

    ConfigLayerCommand copy{original};
    copy.parameter("X");
    ConfigLayerCommand assigned;
    assigned.password("a longer text than the one that replaces it");
    assigned = original;
    assigned.parameter("Y");

    EXPECT_EQ(copy.build(), "configlayer -i I -p X");
    EXPECT_EQ(assigned.build(), "configlayer -i I -p Y");
    EXPECT_EQ(original.build(), "configlayer -i I");
}

TEST(ConfigLayerCommand, SelfAssignmentChangesNothing) {
    ConfigLayerCommand command;
    command.interface("I");
    const ConfigLayerCommand& same = command;

    command = same;
    command.parameter("X");

    EXPECT_EQ(command.build(), "configlayer -i I -p X");
}

TEST(ConfigLayerCommand, PasswordIsReplacedWhereverATextHasIt) {
    ConfigLayerCommand command;
    command.interface("I").password("hush");

    EXPECT_EQ(command.without_password(command.build()), "configlayer -i I -w ***");
    EXPECT_EQ(command.without_password("hush-hush hus h"), "***-*** hus h");
    EXPECT_EQ(command.without_password(""), "");
}

TEST(ConfigLayerCommand, TextIsUnchangedWithoutAPassword) {
    EXPECT_EQ(ConfigLayerCommand{}.without_password("hush"), "hush");
    EXPECT_EQ(ConfigLayerCommand{}.password("").without_password("hush"), "hush");
}

TEST(ConfigLayerCommand, CopiesKnowThePassword) {
    ConfigLayerCommand original;
    original.password("hush");
    ConfigLayerCommand assigned;

    assigned = original;

    EXPECT_EQ(assigned.without_password("hush"), "***");
    EXPECT_EQ(original.clone().without_password("hush"), "***");
    EXPECT_EQ(ConfigLayerCommand{std::move(original)}.without_password("hush"), "***");
}

TEST(ConfigLayerCommand, MovedCommandAppendsToTheTextSoFar) {
    ConfigLayerCommand original;
    original.interface("I");

    ConfigLayerCommand moved{std::move(original)};
    moved.parameter("X");

    EXPECT_EQ(moved.build(), "configlayer -i I -p X");
}

}  // namespace
}  // namespace zephran::ghn
