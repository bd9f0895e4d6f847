// SPDX-License-Identifier: Apache-2.0
#include <chrono>
#include <cstdlib>
#include <memory>

#include <boost/exception/diagnostic_information.hpp>

#include "agent_manager.h"
#include "command_line_options.h"
#include "common/logprint.h"
#include "deployment/leftovers.h"
#include "discovery/ghn_discovery_handler.h"
#include "discovery/mqtt_discovery_handler.h"
#include "gateway_properties.h"
#include "http/transport_settings.h"
#include "installer/chip_installer.h"
#include "installer/installer_factory.h"
#include "options/bus_options.h"
#include "options/download_options.h"
#include "options/report_options.h"
#include "options/service_options.h"
#include "options/transport_options.h"
#include "platform.h"
#include "schedule/update_schedule_reader.h"
#include "store/device_store.h"

namespace zephran {
namespace {

constexpr std::chrono::milliseconds ghn_discovery_period{30'000};

std::optional<std::string> ca_bundle(const CommandLineOptions& options) {
    if (!options.has(CommandLineOptions::ca_bundle_arg)) {
        return std::nullopt;
    }
    ZLOG_INFO_AS("main", "action", "set_ca_bundle_path", "message", "using custom ca bundle",
                 "bundle", options.get_ca_bundle());
    return options.get_ca_bundle();
}

hawkbit::Attributes gateway_properties(const CommandLineOptions& options) {
    hawkbit::Attributes properties;
    if (options.has(CommandLineOptions::properties_file_arg)) {
        properties = read_gateway_properties(options.get_properties_file());
    }
    properties[hawkbit::dormant_attribute] = options.is_dormant() ? "1" : "0";
    return properties;
}

std::optional<UpdateSchedule> configured_schedule() {
    const std::unique_ptr<UpdateSchedule> schedule =
        read_update_schedule(DeviceStore{*platform::get_config()});
    return schedule ? std::make_optional(*schedule) : std::nullopt;
}

std::optional<http::ClientCertificate> client_certificate(const CommandLineOptions& options) {
    if (!options.has(CommandLineOptions::client_certificate_arg)) {
        return std::nullopt;
    }
    ZLOG_INFO_AS("main", "action", "main", "message", "using client certificate");
    return http::ClientCertificate{http::CertificateType::pem, options.get_client_certificate(),
                                   options.get_client_certificate_key()};
}

void add_discovery_handlers(AgentManager& manager, const CommandLineOptions& options,
                            const DiscoveryOptions& discovery_options) {
    manager.add_discovery_handler(std::make_unique<discovery::MQTTDiscoveryHandler>());
    if (options.has_ghn_agents()) {
        manager.add_discovery_handler(std::make_unique<discovery::GhnDiscoveryHandler>(
            ghn_discovery_period, options.get_device_id(), discovery_options));
        ZLOG_INFO_AS("main", "action", "main", "message", "enabling G.hn LAN discovery handler");
    }
}

void run_agents(const CommandLineOptions& options) {
    AgentManagerSettings settings;
    settings.transport.ca_bundle = ca_bundle(options);
    settings.properties = gateway_properties(options);
    settings.schedule = configured_schedule();
    settings.dormant = options.is_dormant();
    settings.gateway_id = options.get_device_id();
    settings.server = options.get_hawkbit_server();
    settings.tenant = read_tenant(*platform::get_config());
    add_transport_options(*platform::get_config(), settings.server, settings.transport);
    settings.downloads = read_download_options(*platform::get_config());
    settings.digest = read_digest(*platform::get_config());
    const ServiceOptions service = read_service_options(*platform::get_config());
    settings.options = service.agent;
    settings.download_directory = leftovers::take_over(
        service.download_dir, settings.downloads.resume, installer::is_chip_being_written);
    settings.transport.traces_credentials = service.log_secrets;
    settings.reports = read_report_options(*platform::get_config());
    settings.bus_extended = read_bus_extended(*platform::get_config());
    settings.bootloader_mtd = options.get_bootloader_mtd();

    const std::unique_ptr<AgentManager> manager = platform::create_agent_manager();
    InstallerFactory::report();
    settings.transport.client_certificate = client_certificate(options);
    manager->configure(std::move(settings));
    add_discovery_handlers(*manager, options, service.discovery);
    manager->run();
}

int start(int argc, const char* const* argv) {
    CommandLineOptions options;
    try {
        options.from_command_line(argc, argv);
        const int result = options.check();
        if (result != CommandLineOptions::may_continue) {
            return result;
        }
        set_log_level(options.get_log_level());
        run_agents(options);
        return EXIT_SUCCESS;
    } catch (const boost::exception& error) {
        ZLOG_ERROR_AS("main", "event", "exception_caught", "action", "main", "what",
                      boost::diagnostic_information(error));
        return EXIT_FAILURE;
    }
}

}  // namespace
}  // namespace zephran

int main(int argc, char* argv[]) {
    return zephran::start(argc, argv);
}
