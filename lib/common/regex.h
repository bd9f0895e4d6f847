// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <regex.h>

#include "common/exception.h"

namespace zephran::common {

struct CompilationFailedException : Exception {
    CompilationFailedException() : Exception{"Could not compile regex"} {}
};

/// A POSIX regular expression together with its last subject and the sub-matches found in it.
class Regex {
public:
    /// @param cflags flags of regcomp(3), for example REG_EXTENDED
    /// @throws CompilationFailedException with boost::errinfo_api_function and boost::errinfo_errno
    ///         (the value that regcomp returned)
    Regex(const std::string& pattern, int cflags);
    Regex(const Regex&) = delete;
    Regex(Regex&&) = delete;
    Regex& operator=(const Regex&) = delete;
    Regex& operator=(Regex&&) = delete;
    ~Regex() = default;

    /// Replaces the expression and forgets the last match. A pattern that is refused leaves the
    /// object as it was.
    /// @throws CompilationFailedException as the constructor does
    void compile(const std::string& pattern, int cflags);

    /// Looks for the expression in a text, which is copied. The text ends at its first NUL.
    /// @param eflags flags of regexec(3)
    bool match(const std::string& text, int eflags);

    /// The whole match followed by every group, "" for a group that took no part; empty when the
    /// last match failed or there was none.
    [[nodiscard]] std::vector<std::string> get_results() const;

private:
    struct Release {
        void operator()(regex_t* compiled) const {
            regfree(compiled);
            std::default_delete<regex_t>{}(compiled);
        }
    };

    bool matched = false;
    std::string subject;
    std::unique_ptr<regex_t, Release> expression;
    std::vector<regmatch_t> matches;
};

}  // namespace zephran::common
