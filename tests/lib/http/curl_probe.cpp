// SPDX-License-Identifier: Apache-2.0
#include "curl_probe.h"

#include <cstdarg>
#include <cstring>

#include <gtest/gtest.h>

namespace zephran::http {
namespace {

CurlProbe* active_probe = nullptr;

std::string describe(CURLoption option, const void* pointer) {
    if (pointer == nullptr) {
        return "(null)";
    }
    switch (option) {
        case CURLOPT_URL:
        case CURLOPT_CUSTOMREQUEST:
        case CURLOPT_SSLCERTTYPE:
        case CURLOPT_SSLCERT:
        case CURLOPT_SSLKEY:
        case CURLOPT_CAINFO:
        case CURLOPT_CAPATH:
            return static_cast<const char*>(pointer);
        case CURLOPT_HTTPHEADER: {
            std::string lines;
            for (const auto* line = static_cast<const curl_slist*>(pointer); line != nullptr;
                 line = line->next) {
                lines += std::string{line->data} + "\n";
            }
            return lines;
        }
        default:
            return "(set)";
    }
}

}  // namespace

CurlProbe::CurlProbe() {
    active_probe = this;
}

CurlProbe::~CurlProbe() {
    active_probe = nullptr;
}

std::vector<CURLoption> CurlProbe::option_names() const {
    std::vector<CURLoption> names;
    for (const auto& option : options) {
        names.push_back(option.first);
    }
    return names;
}

std::string CurlProbe::value(CURLoption option) const {
    for (const auto& [name, text] : options) {
        if (name == option) {
            return text;
        }
    }
    ADD_FAILURE() << "option " << option << " was not set";
    return "";
}

// The linker sends the calls of the code under test here (--wrap); the names are its rule.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,cert-dcl50-cpp,readability-identifier-naming)
extern "C" {

CURLcode __real_curl_global_init(long flags);
void __real_curl_global_cleanup();
CURL* __real_curl_easy_init();
CURLcode __real_curl_easy_setopt(CURL* handle, CURLoption option, ...);
CURLcode __real_curl_easy_perform(CURL* handle);
void __real_curl_easy_cleanup(CURL* handle);
curl_slist* __real_curl_slist_append(curl_slist* list, const char* line);
void __real_curl_slist_free_all(curl_slist* list);
CURLcode __real_curl_easy_getinfo(CURL* handle, CURLINFO info, ...);
CURLSH* __real_curl_share_init();
CURLSHcode __real_curl_share_setopt(CURLSH* share, CURLSHoption option, ...);
CURLSHcode __real_curl_share_cleanup(CURLSH* share);

CURLcode __wrap_curl_global_init(long flags) {
    if (active_probe != nullptr) {
        EXPECT_EQ(flags, CURL_GLOBAL_ALL);
        ++active_probe->initialisations;
        if (active_probe->init_result != CURLE_OK) {
            return active_probe->init_result;
        }
    }
    return __real_curl_global_init(flags);
}

void __wrap_curl_global_cleanup() {
    if (active_probe != nullptr) {
        ++active_probe->cleanups;
    }
    __real_curl_global_cleanup();
}

CURL* __wrap_curl_easy_init() {
    if (active_probe == nullptr) {
        return __real_curl_easy_init();
    }
    if (active_probe->refuse_handles) {
        return nullptr;
    }
    ++active_probe->handles;
    return __real_curl_easy_init();
}

void __wrap_curl_easy_cleanup(CURL* handle) {
    if (active_probe != nullptr && handle != nullptr) {
        --active_probe->handles;
    }
    __real_curl_easy_cleanup(handle);
}

curl_slist* __wrap_curl_slist_append(curl_slist* list, const char* line) {
    if (active_probe != nullptr && active_probe->refuse_lines) {
        return nullptr;
    }
    if (active_probe != nullptr && list == nullptr) {
        ++active_probe->header_lists;
    }
    return __real_curl_slist_append(list, line);
}

void __wrap_curl_slist_free_all(curl_slist* list) {
    if (active_probe != nullptr && list != nullptr) {
        --active_probe->header_lists;
    }
    __real_curl_slist_free_all(list);
}

CURLcode __wrap_curl_easy_getinfo(CURL* handle, unsigned info_number, ...) {
    const auto info = static_cast<CURLINFO>(info_number);
    std::va_list arguments;
    va_start(arguments, info_number);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): va_start() is not seen through
    void* const place = va_arg(arguments, void*);
    va_end(arguments);
    if (active_probe != nullptr && active_probe->figures.count(info) != 0) {
        *static_cast<curl_off_t*>(place) = active_probe->figures.at(info);
        return CURLE_OK;
    }
    return __real_curl_easy_getinfo(handle, info, place);
}

CURLSH* __wrap_curl_share_init() {
    if (active_probe != nullptr && active_probe->refuse_shares) {
        return nullptr;
    }
    if (active_probe != nullptr) {
        ++active_probe->shares;
    }
    return __real_curl_share_init();
}

CURLSHcode __wrap_curl_share_setopt(CURLSH* share, unsigned option_number, ...) {
    const auto option = static_cast<CURLSHoption>(option_number);
    std::va_list arguments;
    va_start(arguments, option_number);
    int noted = option;
    CURLSHcode result = CURLSHE_OK;
    if (option == CURLSHOPT_SHARE) {
        // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): va_start() is not seen through
        const int data = va_arg(arguments, int);
        noted = -data;
        result = __real_curl_share_setopt(share, option, data);
    } else {
        // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): the same
        result = __real_curl_share_setopt(share, option, va_arg(arguments, void*));
    }
    va_end(arguments);
    if (active_probe != nullptr) {
        active_probe->share_options.push_back(noted);
    }
    return result;
}

CURLSHcode __wrap_curl_share_cleanup(CURLSH* share) {
    if (active_probe != nullptr) {
        --active_probe->shares;
    }
    return __real_curl_share_cleanup(share);
}

// The C library's header may rename the function.
int __wrap___res_init() {
    if (active_probe != nullptr) {
        ++active_probe->resolver_readings;
    }
    return 0;
}

int __wrap_res_init() {
    return __wrap___res_init();
}

// The option as libcurl's callers pass it; an enumeration must not stand before the dots.
CURLcode __wrap_curl_easy_setopt(CURL* handle, unsigned option_number, ...) {
    const auto option = static_cast<CURLoption>(option_number);
    std::va_list arguments;
    va_start(arguments, option_number);
    std::string text;
    CURLcode result = CURLE_OK;
    if (option < CURLOPTTYPE_OBJECTPOINT) {
        // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): va_start() is not seen through
        const long number = va_arg(arguments, long);
        text = std::to_string(number);
        result = __real_curl_easy_setopt(handle, option, number);
    } else if (option >= CURLOPTTYPE_OFF_T && option < CURLOPTTYPE_BLOB) {
        // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): the same
        const curl_off_t number = va_arg(arguments, curl_off_t);
        text = std::to_string(number);
        result = __real_curl_easy_setopt(handle, option, number);
    } else {
        // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): the same
        void* const pointer = va_arg(arguments, void*);
        text = describe(option, pointer);
        if (active_probe != nullptr && option == CURLOPT_ERRORBUFFER) {
            active_probe->error_buffer = static_cast<char*>(pointer);
        }
        result = __real_curl_easy_setopt(handle, option, pointer);
    }
    va_end(arguments);
    if (active_probe == nullptr) {
        return result;
    }
    active_probe->options.emplace_back(option, text);
    const auto refused = active_probe->refused_options.find(option);
    return refused == active_probe->refused_options.end() ? result : refused->second;
}

CURLcode __wrap_curl_easy_perform(CURL* handle) {
    if (active_probe == nullptr) {
        return __real_curl_easy_perform(handle);
    }
    ++active_probe->transfers;
    active_probe->resolver_readings_before_transfers.push_back(active_probe->resolver_readings);
    active_probe->resolver_readings = 0;
    if (!active_probe->error_text.empty()) {
        EXPECT_LT(active_probe->error_text.size(), std::size_t{CURL_ERROR_SIZE});
        std::strcpy(active_probe->error_buffer, active_probe->error_text.c_str());
    }
    return active_probe->perform_result;
}

}  // extern "C"
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,cert-dcl50-cpp,readability-identifier-naming)

}  // namespace zephran::http
