// SPDX-License-Identifier: Apache-2.0
#include "transfer_benchmarks.h"

#include <chrono>
#include <memory>
#include <thread>

#include <json/json.h>

#include "crypto/sha256.h"
#include "deployment/artifact_download.h"
#include "file_benchmarks.h"
#include "http/httpclient.h"
#include "http/tls_sessions.h"

namespace zephran::bench {

namespace {

constexpr std::size_t sha1_digits = 40;

hawkbit::DeploymentActionMessage::Artifact artifact_of(const Offer& offer) {
    Json::Value document;
    document["filename"] = "offer";
    document["size"] = offer.size;
    document["hashes"]["sha256"] = offer.sha256;
    // It has to be there, but nothing is compared with it.
    document["hashes"]["sha1"] = std::string(sha1_digits, '0');
    document["_links"]["download"]["href"] = offer.url;
    hawkbit::DeploymentActionMessage::Artifact artifact;
    artifact.from_json(document, hawkbit::Digest::sha256);
    return artifact;
}

DownloadOptions options_without_delay() {
    DownloadOptions options;
    options.attempts = 99;
    options.retry_delay = 0;
    options.retry_cap = 0;
    options.resume = true;
    options.space_reserve = 0;
    return options;
}

http::TransportSettings trusting(const std::string& ca_bundle) {
    http::TransportSettings settings;
    settings.ca_bundle = ca_bundle;
    return settings;
}

}  // namespace

long resuming_download(const Offer& offer) {
    const auto make_client = [&offer] {
        return http::Client{http::ClientImplementationType::curl, trusting(offer.ca_bundle)};
    };
    const DownloadTask task{artifact_of(offer), offer.url, offer.file, true, true, free_space};
    ArtifactDownload download{task, options_without_delay(), make_client, {}};
    download.advance();
    download.wait();
    while (!download.poll()) {
        std::this_thread::sleep_for(std::chrono::seconds{1});
        download.advance();
        download.wait();
    }
    return most_memory_held();
}

void poll(const std::string& url, const std::string& ca_bundle, std::uint64_t times,
          bool resumes_tls) {
    http::TransportSettings settings = trusting(ca_bundle);
    if (resumes_tls) {
        settings.tls_sessions = std::make_shared<http::TlsSessions>();
    }
    for (std::uint64_t time = 0; time != times; ++time) {
        (void)http::Client{http::ClientImplementationType::curl, settings}.send_get_request(url);
    }
}

std::string sha256_of(const std::string& file) {
    return sum_of<crypto::SHA256>(file);
}

}  // namespace zephran::bench
