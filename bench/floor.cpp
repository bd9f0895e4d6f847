// SPDX-License-Identifier: Apache-2.0
// What the daemon's shape costs at least: the same libraries, a step each second, a thread that
// looks at a socket ten times a second, and a new handle for each poll of the server.
//
//   zephran_floor --url URL --ca-bundle FILE --poll SECONDS
#include <exception>
#include <iostream>
#include <sstream>
#include <string>
#include <thread>

#include <boost/program_options.hpp>
#include <curl/curl.h>
#include <json/json.h>
#include <libubus.h>
#include <poll.h>
#include <unistd.h>

namespace {

namespace program_options = boost::program_options;

std::size_t append(char* data, std::size_t size, std::size_t count, void* answer) {
    static_cast<std::string*>(answer)->append(data, size * count);
    return size * count;
}

bool poll_server(const std::string& url, const std::string& ca_bundle) {
    std::string answer;
    CURL* const handle = curl_easy_init();
    curl_easy_setopt(handle, CURLOPT_URL, url.c_str());
    curl_easy_setopt(handle, CURLOPT_CAINFO, ca_bundle.c_str());
    curl_easy_setopt(handle, CURLOPT_CAPATH, nullptr);
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, append);
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, &answer);
    const bool is_answered = curl_easy_perform(handle) == CURLE_OK;
    curl_easy_cleanup(handle);
    std::istringstream text{answer};
    Json::Value document;
    return is_answered &&
           Json::parseFromStream(Json::CharReaderBuilder{}, text, &document, nullptr) &&
           document.isObject();
}

void look_at(int descriptor) {
    constexpr int milliseconds = 100;
    while (true) {
        pollfd input{descriptor, POLLIN, 0};
        ::poll(&input, 1, milliseconds);
    }
}

int run(int argc, const char* const* argv) {
    using program_options::value;
    program_options::options_description description;
    description.add_options()("url", value<std::string>())("ca-bundle", value<std::string>())(
        "poll", value<unsigned>());
    program_options::variables_map options;
    program_options::store(program_options::parse_command_line(argc, argv, description), options);
    ubus_context* const bus = ubus_connect(nullptr);
    if (bus == nullptr || curl_global_init(CURL_GLOBAL_ALL) != CURLE_OK) {
        std::cerr << "no bus or no libcurl\n";
        return 1;
    }
    std::thread{look_at, bus->sock.fd}.detach();
    for (unsigned second = 0;; ++second) {
        // First, because the daemon polls in its second step, too.
        ::sleep(1);
        if (second % options["poll"].as<unsigned>() == 0 &&
            !poll_server(options["url"].as<std::string>(),
                         options["ca-bundle"].as<std::string>())) {
            std::cerr << "the server does not answer\n";
            return 1;
        }
    }
}

}  // namespace

int main(int argc, char* argv[]) {
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::cerr << error.what() << "\n";
        return 1;
    }
}
