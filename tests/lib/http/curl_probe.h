// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include <curl/curl.h>

namespace zephran::http {

/// Sees the calls into libcurl while it lives, and can make them fail. One at a time.
class CurlProbe {
public:
    CurlProbe();
    ~CurlProbe();
    CurlProbe(const CurlProbe&) = delete;
    CurlProbe& operator=(const CurlProbe&) = delete;

    /// The options set so far with their values: numbers and texts as they are, header lists line
    /// by line, "(set)" for other pointers, "(null)" for null ones.
    std::vector<std::pair<CURLoption, std::string>> options;
    /// How often libcurl was initialised, cleaned up, asked for a transfer.
    int initialisations = 0;
    int cleanups = 0;
    int transfers = 0;

    /// Failures to come: what these hold is returned by the next calls.
    CURLcode init_result = CURLE_OK;
    CURLcode perform_result = CURLE_OK;
    bool refuse_handles = false;
    std::map<CURLoption, CURLcode> refused_options;

    [[nodiscard]] std::vector<CURLoption> option_names() const;
    /// The value of an option; fails the test if it was not set.
    [[nodiscard]] std::string value(CURLoption option) const;
};

}  // namespace zephran::http
