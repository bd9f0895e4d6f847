// SPDX-License-Identifier: Apache-2.0
#include "scenarios.h"

#include <ostream>
#include <vector>

#include "fleet.h"

namespace zephran::simulation {
namespace {

using std::chrono::hours;
using std::chrono::minutes;
using std::chrono::seconds;

// A Sunday's midnight in UTC, the time zone of the simulation.
constexpr seconds midnight{1'699'747'200};
constexpr seconds polling{300};
constexpr minutes lead{10};
// Without a limit of its own libcurl gives up to connect after five minutes; the package ships 30
// s.
constexpr seconds unlimited_connect{300};
constexpr seconds shipped_connect{30};
// For a server that says nothing: no limit, and what the package ships for a whole exchange.
constexpr hours unlimited_answer{24};
constexpr seconds shipped_answer{120};
constexpr seconds boot_spread{60};

struct Case {
    std::string scenario;
    std::string name;
    std::string options;
    Scenario what;
    std::optional<Outage> outage;
    std::uint32_t limit;
    Milliseconds offered_from;
    /// The minute 0 of the table, in seconds from the beginning.
    seconds event;
};

Case quiet(std::string scenario, std::string name, std::string options) {
    Case made{std::move(scenario), std::move(name), std::move(options), {}, {}, {}, {}, lead};
    made.limit = std::numeric_limits<std::uint32_t>::max();
    made.offered_from = Milliseconds::max();
    made.what.begin = midnight;
    made.what.boots_within = polling;
    return made;
}

Case outage(const std::string& name, const std::string& options, Milliseconds notice) {
    Case made = quiet("outage of an hour", name, options);
    const Milliseconds begin = midnight + lead;
    made.outage = Outage{begin, begin + hours{1}, notice};
    made.event = lead + hours{1};
    made.what.duration = made.event + hours{3};
    return made;
}

Case blackout(const std::string& name, const std::string& options, std::uint32_t limit) {
    Case made = quiet("blackout", name, options);
    made.what.boots_within = boot_spread;
    made.what.duration = hours{1};
    made.event = seconds{0};
    made.limit = limit;
    return made;
}

Case window(const std::string& name, const std::string& options, int start, int end) {
    Case made = quiet("soft rollout", name, options);
    made.what.begin = midnight + hours{1} + minutes{30};
    made.offered_from = made.what.begin + lead;
    made.event = lead;
    made.what.duration = hours{4};
    if (end > start) {
        UpdateSchedule schedule;
        schedule.set_hours(start, end);
        made.what.schedule = schedule;
        made.event = minutes{30};
    }
    return made;
}

std::vector<Case> all_cases(std::size_t gateways) {
    const auto limit = static_cast<std::uint32_t>(gateways / 200);
    constexpr auto none = std::numeric_limits<std::uint32_t>::max();
    return {outage("refused", "any", Milliseconds{0}),
            outage("unreachable", "none", unlimited_connect),
            outage("unreachable", "shipped", shipped_connect),
            outage("silent", "none", unlimited_answer),
            outage("silent", "shipped", shipped_answer),
            blackout("no limit", "any", none),
            blackout("limit of 1/200 a second", "any", limit),
            window("no window", "none and shipped", 0, 0),
            window("window 2 to 3", "schedule", 2, 3),
            window("window 2 to 5", "schedule", 2, 5)};
}

void write(std::ostream& table, const Case& played, std::size_t gateways,
           const SimulatedServer& server) {
    const auto begin = static_cast<std::size_t>(played.event.count());
    for (std::size_t second = begin % 60; second < server.traffic.requests().size(); second += 60) {
        const auto minute = (static_cast<long>(second) - static_cast<long>(begin)) / 60;
        table << played.scenario << ',' << played.name << ',' << played.options << ',' << gateways
              << ',' << minute << ',' << server.traffic.mean(second, second + 60) << ','
              << server.traffic.peak(second, second + 60).requests << ',' << server.served_gateways
              << ',' << server.last_first_poll.count() / 1000 << ',' << server.failed << ','
              << server.closed_actions << '\n';
    }
}

}  // namespace

void play_scenarios(std::ostream& table, std::size_t gateways, const std::string& only) {
    table << "scenario,case,options,gateways,minute,mean,peak,served,last_served,failed,closed\n";
    for (const Case& each : all_cases(gateways)) {
        if ((each.scenario + "/" + each.name + "/" + each.options).find(only) ==
            std::string::npos) {
            continue;
        }
        SimulatedServer server{each.what.duration};
        server.outage = each.outage;
        server.limit = each.limit;
        server.offered_from = each.offered_from;
        play(each.what, gateways, server);
        write(table, each, gateways, server);
        table.flush();
    }
}

}  // namespace zephran::simulation
