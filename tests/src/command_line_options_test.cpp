// SPDX-License-Identifier: Apache-2.0
#include "command_line_options.h"

#include <array>
#include <iostream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <boost/exception/exception.hpp>
#include <boost/program_options/errors.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/temporary_directory.h"

namespace zephran {
namespace {

using testing::StartsWith;

class CommandLine : public testing::Test {
protected:
    void parse(const std::vector<std::string>& arguments) {
        std::vector<const char*> argv{"zephran"};
        for (const std::string& argument : arguments) {
            argv.push_back(argument.c_str());
        }
        options.from_command_line(static_cast<int>(argv.size()), argv.data());
    }

    /// Parses and checks the two mandatory arguments followed by these.
    int check(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"--device-id", "X", "--hawkbit-server", "S"});
        parse(arguments);
        return check_parsed();
    }
    int check_parsed() {
        std::ostringstream captured_output;
        std::ostringstream captured_errors;
        std::streambuf* const real_output = std::cout.rdbuf(captured_output.rdbuf());
        std::streambuf* const real_errors = std::cerr.rdbuf(captured_errors.rdbuf());
        const int result = options.check();
        std::cout.rdbuf(real_output);
        std::cerr.rdbuf(real_errors);
        output = captured_output.str();
        errors = captured_errors.str();
        return result;
    }
    [[nodiscard]] std::string help() const {
        std::ostringstream text;
        options.print_help_message(text);
        return text.str();
    }

    CommandLineOptions options;
    TemporaryDirectory directory;
    std::string output;
    std::string errors;
};

TEST_F(CommandLine, SwitchesAreOffUntilItIsRead) {
    EXPECT_FALSE(options.is_dormant());
    EXPECT_FALSE(options.has_ghn_agents());
}

TEST_F(CommandLine, ResultsOfTheCheckAreNumbered) {
    EXPECT_EQ(static_cast<int>(CommandLineOptions::help_printed), 0);
    EXPECT_EQ(static_cast<int>(CommandLineOptions::failed), 1);
    EXPECT_EQ(static_cast<int>(CommandLineOptions::may_continue), 2);
}

TEST_F(CommandLine, NoArgumentsPrintTheHelp) {
    parse({});

    EXPECT_EQ(check_parsed(), 0);
    EXPECT_EQ(output, help());
    EXPECT_EQ(errors, "");
}

TEST_F(CommandLine, HelpTakesPrecedenceOverErrors) {
    parse({"--help", "--log-level", "verbose", "--ca-bundle", directory.path("absent")});

    EXPECT_EQ(check_parsed(), 0);
    EXPECT_EQ(output, help());
    EXPECT_EQ(errors, "");
}

constexpr std::array<const char*, 12> option_names{"--bootloader-mtd arg",
                                                   "--device-id arg",
                                                   "--hawkbit-server arg",
                                                   "--installed-flash-type arg",
                                                   "--log-level arg",
                                                   "--help ",
                                                   "--dormant arg",
                                                   "--client-certificate arg",
                                                   "--client-certificate-key arg",
                                                   "--properties-file arg",
                                                   "--ghn-agents ",
                                                   "--ca-bundle arg"};

TEST_F(CommandLine, HelpNamesEveryOptionInOrderAndEndsWithAnEmptyLine) {
    const std::string text = help();

    EXPECT_THAT(text, StartsWith("Available options:\n"));
    std::string::size_type position = 0;
    for (const char* const name : option_names) {
        position = text.find(name, position);
        ASSERT_NE(position, std::string::npos) << name;
    }
    EXPECT_EQ(text.substr(text.size() - 2), "\n\n");
}

TEST_F(CommandLine, HelpExplainsEveryOption) {
    const std::string text = help();

    for (const char* const name : option_names) {
        const auto after_name = text.find(name) + std::string{name}.size();
        const std::string rest = text.substr(after_name, text.find('\n', after_name) - after_name);
        EXPECT_NE(rest.find_first_not_of(' '), std::string::npos) << name;
    }
}

TEST_F(CommandLine, MissingDeviceIdIsReportedFirst) {
    parse({"--log-level", "INFO"});

    EXPECT_EQ(check_parsed(), 1);
    EXPECT_EQ(errors, "Error: You must specify the device ID\n\n" + help());
    EXPECT_EQ(output, "");
}

TEST_F(CommandLine, MissingServerIsReported) {
    parse({"--device-id", "X"});

    EXPECT_EQ(check_parsed(), 1);
    EXPECT_EQ(errors,
              "Error: You must specify the hawkbit server hostname or address\n\n" + help());
    EXPECT_EQ(output, "");
}

TEST_F(CommandLine, DeviceAndServerAreSufficient) {
    EXPECT_EQ(check({}), 2);
    EXPECT_EQ(output, "");
    EXPECT_EQ(errors, "");
    EXPECT_EQ(options.get_device_id(), "X");
    EXPECT_EQ(options.get_hawkbit_server(), "S");
    EXPECT_EQ(options.get_log_level(), "INFO");
    EXPECT_FALSE(options.is_dormant());
    EXPECT_FALSE(options.has_ghn_agents());
    EXPECT_FALSE(options.has(CommandLineOptions::dormant_arg));
    EXPECT_FALSE(options.has(CommandLineOptions::bootloader_mtd_arg));
}

TEST_F(CommandLine, UnknownLogLevelIsAWarningAndMeansInfo) {
    EXPECT_EQ(check({"--log-level", "verbose"}), 2);
    EXPECT_EQ(output, "Warning: Unknown log level specified, using default\n");
    EXPECT_EQ(errors, "");
    EXPECT_EQ(options.get_log_level(), "INFO");
}

TEST_F(CommandLine, LogLevelsAreUpperCase) {
    for (const char* level : {"ERROR", "WARNING", "INFO", "DEBUG"}) {
        EXPECT_TRUE(options.is_valid_log_level(level)) << level;
    }
    for (const char* level : {"", "error", "debug", "Info", "FATAL", "INFO "}) {
        EXPECT_FALSE(options.is_valid_log_level(level)) << level;
    }
}

TEST_F(CommandLine, KnownLogLevelIsTaken) {
    EXPECT_EQ(check({"--log-level", "DEBUG"}), 2);
    EXPECT_EQ(output, "");
    EXPECT_EQ(options.get_log_level(), "DEBUG");
}

class OneHalfOfTheCertificate : public CommandLine,
                                public testing::WithParamInterface<const char*> {};

TEST_P(OneHalfOfTheCertificate, IsAnErrorWithHelp) {
    EXPECT_EQ(check({GetParam(), directory.write("file", "text")}), 1);
    EXPECT_EQ(
        errors,
        "Error: you must specify both a client certificate and client certificate key\n" + help());
    EXPECT_EQ(output, "");
}

INSTANTIATE_TEST_SUITE_P(Either, OneHalfOfTheCertificate,
                         testing::Values("--client-certificate", "--client-certificate-key"));

TEST_F(CommandLine, ReadableCertificateAndKeyAreAccepted) {
    const std::string certificate = directory.write("certificate", "text");
    const std::string key = directory.write("key", "text");

    EXPECT_EQ(check({"--client-certificate", certificate, "--client-certificate-key", key}), 2);
    EXPECT_EQ(errors, "");
    EXPECT_EQ(options.get_client_certificate(), certificate);
    EXPECT_EQ(options.get_client_certificate_key(), key);
}

TEST_F(CommandLine, UnreadableCertificateIsNamed) {
    const std::string absent = directory.path("absent");

    EXPECT_EQ(check({"--client-certificate", absent, "--client-certificate-key",
                     directory.write("key", "text")}),
              1);
    EXPECT_EQ(errors, "Error: could not find client certificate path: " + absent + "\n" + help());
}

TEST_F(CommandLine, UnreadableKeyIsNamed) {
    const std::string absent = directory.path("absent");

    EXPECT_EQ(check({"--client-certificate", directory.write("certificate", "text"),
                     "--client-certificate-key", absent}),
              1);
    EXPECT_EQ(errors,
              "Error: could not find client certificate key path: " + absent + "\n" + help());
}

TEST_F(CommandLine, UnreadableCertificateAndKeyAreBothNamedBeforeOneHelp) {
    const std::string certificate = directory.path("no-certificate");
    const std::string key = directory.path("no-key");

    EXPECT_EQ(check({"--client-certificate", certificate, "--client-certificate-key", key}), 1);
    EXPECT_EQ(errors, "Error: could not find client certificate path: " + certificate +
                          "\nError: could not find client certificate key path: " + key + "\n" +
                          help());
}

TEST_F(CommandLine, UnreadablePropertiesFileIsReportedButIgnored) {
    const std::string absent = directory.path("absent");

    EXPECT_EQ(check({"--properties-file", absent}), 2);
    EXPECT_EQ(errors, "Error: could not find properties file at " + absent + ", ignoring\n");
    EXPECT_EQ(output, "");
    EXPECT_EQ(options.get_properties_file(), absent);
}

TEST_F(CommandLine, UnreadableBundleIsAnErrorWithoutHelp) {
    const std::string absent = directory.path("absent");

    EXPECT_EQ(check({"--ca-bundle", absent}), 1);
    EXPECT_EQ(errors, "Error: could not find CA bundle at " + absent + "\n");
    EXPECT_EQ(output, "");
}

TEST_F(CommandLine, ReadableBundleAndPropertiesAreAccepted) {
    const std::string bundle = directory.write("bundle", "text");

    EXPECT_EQ(check({"--ca-bundle", bundle, "--properties-file", directory.write("p", "{}")}), 2);
    EXPECT_EQ(errors, "");
    EXPECT_EQ(options.get_ca_bundle(), bundle);
}

class DormantValue : public CommandLine,
                     public testing::WithParamInterface<std::pair<const char*, bool>> {};

TEST_P(DormantValue, IsRead) {
    EXPECT_EQ(check({"--dormant", GetParam().first}), 2);
    EXPECT_TRUE(options.has(CommandLineOptions::dormant_arg));
    EXPECT_EQ(options.is_dormant(), GetParam().second);
}

INSTANTIATE_TEST_SUITE_P(All, DormantValue,
                         testing::Values(std::pair{"true", true}, std::pair{"1", true},
                                         std::pair{"yes", true}, std::pair{"on", true},
                                         std::pair{"false", false}, std::pair{"0", false},
                                         std::pair{"no", false}, std::pair{"off", false}));

TEST_F(CommandLine, DormantWithoutAValueThrows) {
    const std::vector<std::string> arguments{"--device-id", "X", "--hawkbit-server", "S",
                                             "--dormant"};

    EXPECT_THROW(parse(arguments), boost::exception);
    EXPECT_THROW(parse(arguments), boost::program_options::invalid_command_line_syntax);
}

TEST_F(CommandLine, DormantWithAnInvalidValueThrows) {
    EXPECT_THROW(parse({"--dormant", "perhaps"}), boost::exception);
}

TEST_F(CommandLine, UnknownOptionsAreIgnored) {
    EXPECT_EQ(check({"--foo", "1", "--bar=2", "stray"}), 2);
    EXPECT_EQ(output, "");
    EXPECT_EQ(errors, "");
}

TEST_F(CommandLine, AbbreviatedNameIsAnUnknownOption) {
    EXPECT_EQ(check({"--ca", "/no/such/bundle", "--h", "--d"}), 2);
    EXPECT_FALSE(options.has(CommandLineOptions::ca_bundle_arg));
}

TEST_F(CommandLine, RemainingOptionsAreStored) {
    EXPECT_EQ(check({"--bootloader-mtd", "mtd1", "--installed-flash-type", "nor", "--ghn-agents"}),
              2);
    EXPECT_TRUE(options.has(CommandLineOptions::bootloader_mtd_arg));
    EXPECT_EQ(options.get_bootloader_mtd(), "mtd1");
    EXPECT_TRUE(options.has(CommandLineOptions::installed_flash_type_arg));
    EXPECT_TRUE(options.has_ghn_agents());
}

}  // namespace
}  // namespace zephran
