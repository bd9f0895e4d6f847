// SPDX-License-Identifier: Apache-2.0
#include "http/httpclient_curl.h"

#include <array>
#include <sstream>

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "common/logprint.h"
#include "http/exceptions.h"
#include "support/loopback_http_server.h"

namespace zephran::http {
namespace {

using test::LoopbackHttpServer;

class Curl : public ::testing::Test {
protected:
    // libcurl writes about every byte when the daemon's debug messages are on.
    void SetUp() override { debug_logger.enabled = false; }
    void TearDown() override { debug_logger.enabled = was_enabled; }

    CurlImpl curl;

private:
    const bool was_enabled = debug_logger.enabled;
};

/// Runs a request that must fail as a transfer, and returns libcurl's code.
template <class Request>
CURLcode transfer_error(Request request) {
    try {
        request();
    } catch (const HttpRequestException& error) {
        EXPECT_STREQ(error.what(), "HTTP request failed");
        const auto* const code = boost::get_error_info<curlcode_tag>(error);
        const auto* const message = boost::get_error_info<curlmessage_tag>(error);
        const auto* const details = boost::get_error_info<curlerrorbuffer_tag>(error);
        if (code == nullptr || message == nullptr || details == nullptr) {
            ADD_FAILURE() << "a record is missing";
            return CURLE_OK;
        }
        EXPECT_EQ(*message, curl_easy_strerror(*code));
        EXPECT_FALSE(details->empty());
        return *code;
    }
    ADD_FAILURE() << "no exception";
    return CURLE_OK;
}

TEST_F(Curl, GetReturnsTheBody) {
    const LoopbackHttpServer server{{{200, "hello", {}, false}}};

    const auto body = curl.send_get_request(server.url("/path?query=1"));

    EXPECT_EQ(body, "hello");
    ASSERT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(server.requests()[0].method, "GET");
    EXPECT_EQ(server.requests()[0].target, "/path?query=1");
}

TEST_F(Curl, DeleteSendsItsOwnMethod) {
    const LoopbackHttpServer server{{{200, "gone", {}, false}}};

    const auto body = curl.send_delete_request(server.url("/thing"));

    EXPECT_EQ(body, "gone");
    ASSERT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(server.requests()[0].method, "DELETE");
}

TEST_F(Curl, UploadsSendMethodContentTypeLengthAndBody) {
    const LoopbackHttpServer server{
        {{200, "1", {}, false}, {200, "2", {}, false}, {200, "3", {}, false}}};

    EXPECT_EQ(curl.send_put_request(server.url("/a"), "put body", "text/a"), "1");
    EXPECT_EQ(curl.send_post_request(server.url("/b"), "post body", "text/b"), "2");
    EXPECT_EQ(curl.send_patch_request(server.url("/c"), "patch body", "text/c"), "3");

    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), 3U);
    EXPECT_EQ(requests[0].method, "PUT");
    EXPECT_EQ(requests[0].headers.at("content-type"), "text/a");
    EXPECT_EQ(requests[0].headers.at("content-length"), "8");
    EXPECT_EQ(requests[0].body, "put body");
    EXPECT_EQ(requests[1].method, "POST");
    EXPECT_EQ(requests[1].headers.at("content-type"), "text/b");
    EXPECT_EQ(requests[1].body, "post body");
    EXPECT_EQ(requests[2].method, "PATCH");
    EXPECT_EQ(requests[2].headers.at("content-type"), "text/c");
    EXPECT_EQ(requests[2].body, "patch body");
}

TEST_F(Curl, UploadLargerThanAnyBufferArrivesWhole) {
    const LoopbackHttpServer server{{{200, "", {}, false}}};
    std::string body(300'000, 'x');
    body.front() = '<';
    body.back() = '>';

    curl.send_post_request(server.url("/"), body, "application/json");

    ASSERT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(server.requests()[0].body, body);
}

TEST_F(Curl, EmptyPutAnnouncesLengthZero) {
    const LoopbackHttpServer server{{{200, "", {}, false}}};

    curl.send_put_request(server.url("/"), "", "application/json");

    ASSERT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(server.requests()[0].headers.at("content-length"), "0");
    EXPECT_EQ(server.requests()[0].body, "");
}

TEST_F(Curl, AnswerOfTheGreatestSizeIsReturned) {
    constexpr std::size_t sixteen_mebibytes = 16'777'216;
    EXPECT_EQ(CurlImpl::max_answer_size, sixteen_mebibytes);
    const std::string body(CurlImpl::max_answer_size, 'x');
    const LoopbackHttpServer server{{{200, body, {}, false}}};

    EXPECT_EQ(curl.send_get_request(server.url("/")).size(), body.size());
}

TEST_F(Curl, GreaterAnswerEndsTheTransfer) {
    const std::string body(CurlImpl::max_answer_size + 1, 'x');
    const LoopbackHttpServer server{
        {{200, body, {}, false}, {200, body, {}, false}, {200, body, {}, false}}};

    EXPECT_EQ(transfer_error([&] { curl.send_get_request(server.url("/")); }), CURLE_WRITE_ERROR);
    EXPECT_EQ(transfer_error([&] { curl.send_delete_request(server.url("/")); }),
              CURLE_WRITE_ERROR);
    EXPECT_EQ(transfer_error([&] { curl.send_put_request(server.url("/"), "x", "text/plain"); }),
              CURLE_WRITE_ERROR);
}

TEST_F(Curl, AnswersToUploadsCanBeDropped) {
    const std::string body(CurlImpl::max_answer_size + 1, 'x');
    const LoopbackHttpServer server{
        {{200, "1", {}, false}, {200, body, {}, false}, {200, "3", {}, false}}};
    TransportSettings settings;
    settings.drops_answers_to_uploads = true;
    CurlImpl dropping{settings};

    EXPECT_EQ(dropping.send_put_request(server.url("/a"), "put body", "text/a"), "");
    EXPECT_EQ(dropping.send_post_request(server.url("/b"), "post body", "text/b"), "");
    EXPECT_EQ(dropping.send_get_request(server.url("/c")), "3");
}

TEST_F(Curl, DotsInThePathAreSentAsTheyAre) {
    const LoopbackHttpServer server{{{200, "", {}, false}, {200, "", {}, false}}};

    curl.send_get_request(server.url("/a/%2E%2E"));
    curl.send_get_request(server.url("/a/../b/./c"));

    ASSERT_EQ(server.requests().size(), 2U);
    EXPECT_EQ(server.requests()[0].target, "/a/%2E%2E");
    EXPECT_EQ(server.requests()[1].target, "/a/../b/./c");
}

TEST_F(Curl, DownloadWritesTheBodyIntoTheStream) {
    const std::string body(100'000, 'y');
    const LoopbackHttpServer server{{{200, body, {}, false}}};
    std::ostringstream out;

    curl.download_to_file(server.url("/file"), out);

    EXPECT_EQ(out.str(), body);
}

TEST_F(Curl, DownloadIntoFailedStreamIsNotReported) {
    const LoopbackHttpServer server{{{200, "data", {}, false}}};
    std::ostringstream out;
    out.setstate(std::ios_base::badbit);

    EXPECT_NO_THROW(curl.download_to_file(server.url("/file"), out));

    EXPECT_EQ(out.str(), "");
}

TEST_F(Curl, RedirectIsReturnedNotFollowed) {
    const LoopbackHttpServer server{{{302, "moved", {{"Location", "/elsewhere"}}, false}}};

    const auto body = curl.send_get_request(server.url("/"));

    EXPECT_EQ(body, "moved");
    EXPECT_EQ(server.requests().size(), 1U);
}

TEST_F(Curl, ErrorStatusCarriesCodeUrlAndText) {
    const LoopbackHttpServer server{{{404, "no such thing", {}, false}}};
    const auto url = server.url("/missing");

    try {
        curl.send_get_request(url);
        FAIL() << "no exception";
    } catch (const HttpErrorCodeException& error) {
        EXPECT_STREQ(error.what(), "HTTP server returned an error code");
        ASSERT_NE(boost::get_error_info<httpcode_tag>(error), nullptr);
        EXPECT_EQ(*boost::get_error_info<httpcode_tag>(error), 404U);
        ASSERT_NE(boost::get_error_info<httpurl_tag>(error), nullptr);
        EXPECT_EQ(*boost::get_error_info<httpurl_tag>(error), url);
        ASSERT_NE(boost::get_error_info<curlerrorbuffer_tag>(error), nullptr);
        EXPECT_THAT(*boost::get_error_info<curlerrorbuffer_tag>(error),
                    ::testing::HasSubstr("404"));
    }
}

TEST_F(Curl, StatusesFrom400OnAreErrorsAnd399IsNot) {
    const LoopbackHttpServer server{
        {{399, "fine", {}, false}, {400, "", {}, false}, {599, "", {}, false}}};

    EXPECT_EQ(curl.send_get_request(server.url("/")), "fine");
    EXPECT_THROW(curl.send_get_request(server.url("/")), HttpErrorCodeException);
    EXPECT_THROW(curl.send_post_request(server.url("/"), "x", "text/plain"),
                 HttpErrorCodeException);
}

TEST_F(Curl, BodyOfAnErrorStatusIsNotDownloaded) {
    const LoopbackHttpServer server{{{500, "an error page", {}, false}}};
    std::ostringstream out;

    EXPECT_THROW(curl.download_to_file(server.url("/file"), out), HttpErrorCodeException);

    EXPECT_EQ(out.str(), "");
}

TEST_F(Curl, ConnectionClosedEarlyFailsTheRequest) {
    const LoopbackHttpServer server{{{200, "twelve bytes", {}, true}}};

    const auto code = transfer_error([&] { curl.send_get_request(server.url("/")); });

    EXPECT_EQ(code, CURLE_PARTIAL_FILE);
}

TEST_F(Curl, RefusedConnectionFailsTheRequest) {
    // A bound socket that does not listen reserves its port and refuses connections.
    const int bound = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    ASSERT_EQ(bind(bound, generic, length), 0);
    ASSERT_EQ(getsockname(bound, generic, &length), 0);
    const auto url = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/";

    const auto code = transfer_error([&] { curl.send_get_request(url); });
    close(bound);

    EXPECT_EQ(code, CURLE_COULDNT_CONNECT);
}

TEST_F(Curl, ErrorTextOfAnEarlierRequestIsNotRepeated) {
    const LoopbackHttpServer server{{{404, "", {}, false}}};
    EXPECT_THROW(curl.send_get_request(server.url("/")), HttpErrorCodeException);

    try {
        curl.send_get_request("nosuchscheme://host/");
        FAIL() << "no exception";
    } catch (const HttpRequestException& error) {
        ASSERT_NE(boost::get_error_info<curlerrorbuffer_tag>(error), nullptr);
        EXPECT_THAT(*boost::get_error_info<curlerrorbuffer_tag>(error),
                    ::testing::Not(::testing::HasSubstr("404")));
    }
}

TEST_F(Curl, CertificateIsUsedByEveryLaterRequest) {
    const LoopbackHttpServer server{{}};
    curl.set_client_certificate({CertificateType::pem, "/nonexistent.crt", "/nonexistent.key"});

    EXPECT_EQ(transfer_error([&] { curl.send_get_request(server.url("/", "https")); }),
              CURLE_SSL_CERTPROBLEM);
    EXPECT_EQ(transfer_error([&] { curl.send_delete_request(server.url("/", "https")); }),
              CURLE_SSL_CERTPROBLEM);
}

TEST(CurlCallbacks, WriteStringAppends) {
    std::string text = "a";
    std::array<char, 4> data{'b', '\0', 'c', 'd'};

    EXPECT_EQ(CurlImpl::write_string_cb(data.data(), 2, 2, &text), 4U);

    EXPECT_EQ(text, std::string("ab\0cd", 5));
}

TEST(CurlCallbacks, WriteStringRefusesWhatWouldExceedTheGreatestAnswer) {
    std::string text(CurlImpl::max_answer_size - 2, 'a');
    std::array<char, 4> data{'b', 'c', 'd', 'e'};

    EXPECT_EQ(CurlImpl::write_string_cb(data.data(), 1, 3, &text), 0U);
    EXPECT_EQ(text.size(), CurlImpl::max_answer_size - 2);
    EXPECT_EQ(CurlImpl::write_string_cb(data.data(), 1, 2, &text), 2U);
    EXPECT_EQ(text.size(), CurlImpl::max_answer_size);
    EXPECT_EQ(CurlImpl::write_string_cb(data.data(), 1, 1, &text), 0U);
    EXPECT_EQ(text.size(), CurlImpl::max_answer_size);
}

TEST(CurlCallbacks, WriteNothingTakesEverything) {
    std::array<char, 4> data{'b', 'c', 'd', 'e'};

    EXPECT_EQ(CurlImpl::write_nothing_cb(data.data(), 2, 2, nullptr), 4U);
}

TEST(CurlCallbacks, WriteFileReturnsEverythingWhateverTheStream) {
    std::array<char, 3> data{'x', 'y', 'z'};
    std::ostringstream good;
    std::ostringstream bad;
    bad.setstate(std::ios_base::badbit);

    EXPECT_EQ(CurlImpl::write_file_cb(data.data(), 1, 3, &good), 3U);
    EXPECT_EQ(CurlImpl::write_file_cb(data.data(), 1, 3, &bad), 3U);

    EXPECT_EQ(good.str(), "xyz");
    EXPECT_EQ(bad.str(), "");
}

TEST(CurlCallbacks, WriteFileKeepsTheExceptionsOfAStreamFromLibcurl) {
    class FullBuffer : public std::streambuf {};
    FullBuffer full;
    std::ostream out{&full};
    out.exceptions(std::ios_base::badbit);
    std::array<char, 3> data{'x', 'y', 'z'};

    EXPECT_EQ(CurlImpl::write_file_cb(data.data(), 1, 3, &out), 3U);

    EXPECT_TRUE(out.bad());
}

TEST(CurlCallbacks, ReadStringTakesFromTheFront) {
    std::string rest = "abcde";
    std::array<char, 4> buffer{};

    EXPECT_EQ(CurlImpl::read_string_cb(buffer.data(), 2, 2, &rest), 4U);
    EXPECT_EQ(std::string(buffer.data(), 4), "abcd");
    EXPECT_EQ(rest, "e");
    EXPECT_EQ(CurlImpl::read_string_cb(buffer.data(), 2, 2, &rest), 1U);
    EXPECT_EQ(buffer[0], 'e');
    EXPECT_EQ(CurlImpl::read_string_cb(buffer.data(), 2, 2, &rest), 0U);
}

}  // namespace
}  // namespace zephran::http
