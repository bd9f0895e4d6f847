// SPDX-License-Identifier: Apache-2.0
// What the powerline tool says of modems, some of them a stranger's. One text for each call: a byte
// for what becomes of the tool, then its output, in which "%p" is the parameter and "%w" the
// password. This file takes the place of the process runner, of the powerline configuration, and of
// the thread that discovery runs on.
#include <array>
#include <memory>
#include <set>

#include <boost/algorithm/string/replace.hpp>
#include <boost/exception/diagnostic_information.hpp>
#include <boost/exception/errinfo_errno.hpp>

#include "common/popen.h"
#include "discovery/ghn_discovery_handler.h"
#include "fuzz/target.h"
#include "ghn/exceptions.h"
#include "hawkbit/controller.h"
#include "platform.h"
#include "support/memory_config.h"

namespace zephran {

namespace fuzz {
namespace {

constexpr std::array<const char*, 3> passwords{"S3cr3t-word", "it's a Secret", "$(S3cr3t)"};

/// What the tool does, and what discovery has asked for.
struct Network {
    Input answers{nullptr, 0};
    MemoryConfig config;
    std::string password;
    std::set<std::string> agents;
};

std::unique_ptr<Network> of_this_input;

Network& network() {
    return *of_this_input;
}

void require_one_segment(const std::string& id) {
    const std::string begin = "https://update.example/DEFAULT/controller/v1/";
    const std::string address =
        hawkbit::ControllerURLBuilder{id, "update.example", "DEFAULT", true}.base_url().str();
    require(address.compare(0, begin.size(), begin) == 0, "the id stands behind the server");
    const std::string segment = address.substr(begin.size());
    require(!segment.empty() && segment != "." && segment != "..", "the id is a name");
    require(segment.find_first_of("/?# \\\r\n\t") == std::string::npos, "the id is one segment");
}

void require_secret(const std::string& text, const char* sentence) {
    require(text.find(network().password) == std::string::npos, sentence);
}

void run_pass(discovery::GhnDiscoveryHandler& handler) {
    try {
        handler.discover_once();
    } catch (const common::Exception& error) {
        require_secret(boost::diagnostic_information(error), "no record has the password");
        require_secret(common::describe_records(error), "no report has the password");
    } catch (const std::invalid_argument& error) {
        require(std::string{error.what()} == "mac", "only an address can be wrong");
    }
}

}  // namespace

void try_input(Input input) {
    const std::uint8_t choice = input.byte();
    of_this_input = std::make_unique<Network>();
    network().password = passwords.at(choice % passwords.size());
    network().answers = std::move(input);
    auto& values = network().config.values;
    values["ghn.ghn.interface"] = "br-lan";
    values["ghn.ghn.password"] = network().password;
    values["nevra.baptization.LirnMacAddress"] = "02:00:00:00:00:01";

    DiscoveryOptions options;
    options.ids = (choice & 0x10U) != 0 ? AdapterIds::prefixed : AdapterIds::serial;
    options.quoting =
        (choice & 0x20U) != 0 ? ghn::ConfigLayerQuoting::shell : ghn::ConfigLayerQuoting::none;
    options.tool_limit = (choice & 0x40U) != 0 ? ToolLimit{1000} : ToolLimit{};
    discovery::GhnDiscoveryHandler handler{std::chrono::milliseconds{1}, "gw-1", options};
    run_pass(handler);
    run_pass(handler);
}

}  // namespace fuzz

namespace platform {

Config* get_config() {
    return &fuzz::network().config;
}

}  // namespace platform

namespace common {

POpen::POpen(const std::string& shell_command, const TimeLimits& time_limits, int /*inherited*/)
    : command{shell_command}, limits{time_limits} {
    if (fuzz::network().answers.is_at_end()) {
        ZEPHRAN_THROW(POpenFailedException{} << popen_command_tag{command}
                                             << boost::errinfo_errno{ENOMEM});
    }
}

POpen::~POpen() = default;

void POpen::Close::operator()(std::FILE* /*open_stream*/) const {}

int POpen::wait(std::string& output, const std::atomic<bool>& /*stop*/) {
    constexpr unsigned is_killed = 7;
    constexpr unsigned fails = 6;
    auto& answers = fuzz::network().answers;
    const unsigned end = answers.byte() % 8U;
    const std::string parameter = command.substr(command.rfind(' ') + 1);
    output = answers.text();
    boost::replace_all(output, "%p", parameter);
    boost::replace_all(output, "%w", fuzz::network().password);
    if (end == is_killed) {
        ZEPHRAN_THROW(AbnormalTerminationException{} << popen_command_tag{command}
                                                     << program_output_tag{output});
    }
    return end == fails ? 3 : 0;
}

int POpen::wait_for_tool(std::string& output, std::chrono::milliseconds /*limit*/,
                         const std::atomic<bool>& stop) {
    return wait(output, stop);
}

}  // namespace common

namespace discovery {

AsyncDiscoveryHandler::AsyncDiscoveryHandler(std::chrono::milliseconds period_between_passes,
                                             Clock current_time, bool is_failure_fatal)
    : now{std::move(current_time)},
      period{period_between_passes},
      failure_is_fatal{is_failure_fatal} {}

void AsyncDiscoveryHandler::tick() {}

void AsyncDiscoveryHandler::spawn_agent(const std::string& id,
                                        const hawkbit::Attributes& properties,
                                        const InstallerContext& context) {
    taken_places.insert(id);
    fuzz::network().agents.insert(id);
    fuzz::require(fuzz::network().agents.size() <= most_agents, "there is room for each agent");
    fuzz::require_one_segment(id);
    fuzz::require_secret(id, "no id has the password");
    for (const auto& [key, value] : properties) {
        fuzz::require_secret(value, "no attribute has the password");
    }
    fuzz::require(context.accepted_parts.size() == 1, "an adapter accepts one part type");
}

void AsyncDiscoveryHandler::abort_agent(const std::string& id) {
    fuzz::require_one_segment(id);
}

void AsyncDiscoveryHandler::discard_pass() noexcept {}

}  // namespace discovery

}  // namespace zephran
