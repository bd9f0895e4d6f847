// SPDX-License-Identifier: Apache-2.0
#include "common/regex.h"

#include <cstddef>
#include <iterator>

#include <boost/exception/errinfo_api_function.hpp>
#include <boost/exception/errinfo_errno.hpp>

namespace zephran::common {

namespace {

constexpr regmatch_t no_match{-1, -1};

std::string text_of(const std::string& subject, const regmatch_t& match) {
    if (match.rm_so == -1) {
        return {};
    }
    return subject.substr(static_cast<std::size_t>(match.rm_so),
                          static_cast<std::size_t>(match.rm_eo - match.rm_so));
}

}  // namespace

Regex::Regex(const std::string& pattern, int cflags) {
    compile(pattern, cflags);
}

void Regex::compile(const std::string& pattern, int cflags) {
    // A regex_t that regcomp refused must not reach regfree, hence the two owners.
    auto fresh = std::make_unique<regex_t>();
    const int result = regcomp(fresh.get(), pattern.c_str(), cflags);
    if (result != 0) {
        ZEPHRAN_THROW(CompilationFailedException{} << boost::errinfo_api_function{"regcomp"}
                                                   << boost::errinfo_errno{result});
    }
    expression.reset(fresh.release());
    matched = false;
    // With REG_NOSUB regexec leaves the array as it is here.
    matches.assign(expression->re_nsub + 1, no_match);
}

bool Regex::match(const std::string& text, int eflags) {
    subject = text;
    matched =
        regexec(expression.get(), subject.c_str(), matches.size(), matches.data(), eflags) == 0;
    return matched;
}

std::vector<std::string> Regex::get_results() const {
    std::vector<std::string> results;
    if (matched) {
        results.reserve(matches.size());
        for (const regmatch_t& match : matches) {
            results.push_back(text_of(subject, match));
        }
    }
    return results;
}

}  // namespace zephran::common
