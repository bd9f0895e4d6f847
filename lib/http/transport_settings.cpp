// SPDX-License-Identifier: Apache-2.0
#include "http/transport_settings.h"

namespace zephran::http::curl_configuration {
namespace {

const char*& ca_bundle_path() {
    static const char* path = nullptr;
    return path;
}

}  // namespace

void set_ca_bundle_path(const char* path) {
    ca_bundle_path() = path;
}

const char* get_ca_bundle_path() {
    return ca_bundle_path();
}

}  // namespace zephran::http::curl_configuration
