// SPDX-License-Identifier: Apache-2.0
#include "http/authorization.h"

#include <fstream>
#include <iostream>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "http/httpclient_curl.h"
#include "support/captured_log.h"
#include "support/loopback_http_server.h"
#include "support/temporary_directory.h"

namespace zephran::http {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

class Token : public ::testing::Test {
protected:
    void write(const std::string& text) { std::ofstream{file} << text; }

    const TemporaryDirectory directory;
    const std::string file = directory.path("token");
    Authorization authorization{"TargetToken", file, "server:8443"};
};

TEST_F(Token, IsTheFirstLineWithoutBlanksAround) {
    for (const char* const text : {"abc", "abc\n", "abc\r\n", "  abc \t\n", "abc\nanother\n"}) {
        write(text);
        EXPECT_EQ(token_for(authorization, "https://server:8443/a"), "abc") << text;
    }
}

TEST_F(Token, IsReadAtEachRequest) {
    write("old");
    EXPECT_EQ(token_for(authorization, "https://server:8443/a"), "old");
    write("new");
    EXPECT_EQ(token_for(authorization, "https://server:8443/a"), "new");
}

TEST_F(Token, IsOnlyForItsServerAndOnlyForHttps) {
    write("abc");
    for (const char* const url :
         {"http://server:8443/a", "https://server/a", "https://server:443/a", "https://server:84/a",
          "https://server:8443.example/a", "https://user@server:8443/a", "https://other:8443/a"}) {
        EXPECT_EQ(token_for(authorization, url), "") << url;
    }
}

TEST_F(Token, ServerWithoutAPortHasTheOneOfHttps) {
    write("abc");
    authorization.server = "server";
    EXPECT_EQ(token_for(authorization, "https://server/a"), "abc");
    EXPECT_EQ(token_for(authorization, "https://server:443/a"), "abc");
    EXPECT_EQ(token_for(authorization, "https://server:8443/a"), "");

    authorization.server = "[fd00::1]";
    EXPECT_EQ(token_for(authorization, "https://[fd00::1]:443/a"), "abc");
    EXPECT_EQ(token_for(authorization, "https://[fd00::1]:1/a"), "");
}

TEST_F(Token, MissingOneIsReportedByItsFile) {
    for (const char* const text : {"", "\nabc\n", "   \n"}) {
        write(text);
        const CapturedLog log;
        EXPECT_EQ(token_for(authorization, "https://server:8443/a"), "") << text;
        EXPECT_THAT(log.text(), HasSubstr("WARNING"));
        EXPECT_THAT(log.text(), HasSubstr("event=token_missing"));
        EXPECT_THAT(log.text(), HasSubstr("filename=" + file));
    }
    authorization.token_file = directory.path("none");
    EXPECT_EQ(token_for(authorization, "https://server:8443/a"), "");
}

TEST_F(Token, UnreadableFileIsNoBusinessOfOtherServers) {
    const CapturedLog log;

    EXPECT_EQ(token_for(authorization, "https://other/a"), "");

    EXPECT_THAT(log.text(), IsEmpty());
}

TEST_F(Token, IsNotInTheTraceOfLibcurl) {
    write("s3cr3t-of-the-target");
    const test::LoopbackHttpServer server{{}};
    TransportSettings settings;
    authorization.server = server.authority();
    settings.authorization = authorization;
    const CapturedLog log{"DEBUG"};

    // Its handshake fails, but the header is set up before that.
    EXPECT_ANY_THROW(CurlImpl{settings}.send_get_request(server.url("/a", "https")));

    EXPECT_THAT(log.text(), HasSubstr("* "));
    EXPECT_THAT(log.text(), Not(HasSubstr("s3cr3t-of-the-target")));
}

TEST(Trace, HeadersOfTheServerCannotForgeALine) {
    const test::LoopbackHttpServer server{
        {{200, "", {{"X-Forged", "a\r12:00:00 ERROR main.cpp:1 main: \x1b[2J\x7f"}}, false}}};
    const CapturedLog log{"DEBUG"};

    CurlImpl{TransportSettings{}}.send_get_request(server.url("/a"));

    EXPECT_THAT(log.text(), HasSubstr("\n< X-Forged: a\\x0d12:00:00 ERROR main.cpp:1 main: "
                                      "\\x1b[2J\\x7f\n"));
    EXPECT_THAT(log.text(), Not(HasSubstr("\r")));
    EXPECT_THAT(log.text(), Not(HasSubstr("\x1b")));
}

TEST(Trace, FurtherLinesOfAHeadAreIndented) {
    const test::LoopbackHttpServer server{{{200, "", {}, false}}};
    const CapturedLog log{"DEBUG"};

    CurlImpl{TransportSettings{}}.send_get_request(server.url("/a"));

    EXPECT_THAT(log.text(), HasSubstr("\n> GET /a HTTP/1.1\n    Host: " + server.authority() +
                                      "\n    Accept: */*\n"));
    EXPECT_THAT(log.text(), HasSubstr("\n< HTTP/1.1 200 "));
    EXPECT_THAT(log.text(), HasSubstr("\n* "));
    EXPECT_THAT(log.text(), Not(HasSubstr("\n\n")));
    EXPECT_THAT(log.text(), Not(HasSubstr("\n    \n")));
}

TEST(Trace, ShowsOtherCredentialsOnlyIfToldSo) {
    for (const bool shown : {true, false}) {
        const test::LoopbackHttpServer server{{{200, "", {{"Set-Cookie", "id=abc"}}, false}}};
        TransportSettings settings;
        settings.traces_credentials = shown;
        const CapturedLog log{"DEBUG"};

        CurlImpl{settings}.send_get_request(server.url("/a"));

        EXPECT_THAT(log.text(), HasSubstr(shown ? "< Set-Cookie: id=abc" : "< Set-Cookie: ***"));
    }
}

TEST(Secret, IsMaskedWhereverItStands) {
    EXPECT_EQ(without_secret("a key, key", "key"), "a ***, ***");
    EXPECT_EQ(without_secret("keykey", "key"), "******");
    EXPECT_EQ(without_secret("nothing", "key"), "nothing");
    EXPECT_EQ(without_secret("*", "*"), "***");
    EXPECT_EQ(without_secret("text", ""), "text");
}

}  // namespace
}  // namespace zephran::http
