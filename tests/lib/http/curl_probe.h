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
    /// Handles and header lists that were made and not yet given back.
    int handles = 0;
    int header_lists = 0;
    /// What transfers tell of themselves, if set.
    std::map<CURLINFO, curl_off_t> figures;
    /// Shared objects that were made and not yet given back, and what they were told. What is to be
    /// shared stands there as a negative number.
    int shares = 0;
    std::vector<int> share_options;
    /// Readings of the resolver's configuration, those since the last transfer.
    int resolver_readings = 0;
    std::vector<int> resolver_readings_before_transfers;

    /// Failures to come: what these hold is returned by the next calls.
    CURLcode init_result = CURLE_OK;
    CURLcode perform_result = CURLE_OK;
    /// What transfers write into the error buffer; "" leaves it alone.
    std::string error_text;
    bool refuse_handles = false;
    bool refuse_lines = false;
    bool refuse_shares = false;
    std::map<CURLoption, CURLcode> refused_options;
    /// The buffer of the last CURLOPT_ERRORBUFFER.
    char* error_buffer = nullptr;

    [[nodiscard]] std::vector<CURLoption> option_names() const;
    /// The value of an option; fails the test if it was not set.
    [[nodiscard]] std::string value(CURLoption option) const;
};

}  // namespace zephran::http
