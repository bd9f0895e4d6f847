// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <memory>
#include <thread>

#include <gtest/gtest.h>

#include "http/exceptions.h"
#include "http/httpclient_curl.h"
#include "http/tls_sessions.h"
#include "support/loopback_http_server.h"

namespace zephran::http {
namespace {

using test::HttpAnswer;
using test::LoopbackHttpServer;

class Receiver : public PartialReceiver {
public:
    bool take_head(const AnswerHead& answer) noexcept override {
        head = answer;
        ++heads;
        return takes_head;
    }
    bool take(const char* data, std::size_t size) noexcept override {
        body.append(data, size);
        return takes_body;
    }
    [[nodiscard]] bool is_stopped() const noexcept override { return stopped; }

    bool takes_head = true;
    bool takes_body = true;
    std::atomic<bool> stopped{false};
    AnswerHead head;
    unsigned heads = 0;
    std::string body;
};

/// libcurl's code of a download that fails.
CURLcode failing_code(CurlImpl& curl, const std::string& url, Receiver& receiver) {
    try {
        curl.download_part(url, {}, receiver);
    } catch (const HttpRequestException& error) {
        const CURLcode* const code = boost::get_error_info<curlcode_tag>(error);
        return code == nullptr ? CURLE_OK : *code;
    }
    return CURLE_OK;
}

TEST(DownloadPart, OfAWholeFileAsksForNoRange) {
    EXPECT_EQ(RangeWanted{}.from, 0U);
    EXPECT_EQ(AnswerHead{}.status, 0U);
    const LoopbackHttpServer server{{HttpAnswer{200, "content", {{"ETag", "tag"}}, false}}};
    CurlImpl curl;
    Receiver receiver;

    curl.download_part(server.url("/file"), {}, receiver);

    EXPECT_EQ(receiver.body, "content");
    EXPECT_EQ(receiver.heads, 1U);
    EXPECT_EQ(receiver.head.status, 200U);
    EXPECT_EQ(receiver.head.entity_tag, "tag");
    ASSERT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(server.requests()[0].headers.count("range"), 0U);
    EXPECT_EQ(server.requests()[0].headers.count("if-range"), 0U);
}

TEST(DownloadPart, HeadCanBeRefusedHoweverItEnds) {
    // The second head ends with the line that has nothing but its end.
    const LoopbackHttpServer server{{HttpAnswer{200, "content", {}, false},
                                     HttpAnswer{200, "content", {{"X", "\n\n"}}, false}}};
    CurlImpl curl;
    Receiver receiver;
    receiver.takes_head = false;

    EXPECT_EQ(failing_code(curl, server.url("/file"), receiver), CURLE_WRITE_ERROR);
    EXPECT_EQ(failing_code(curl, server.url("/file"), receiver), CURLE_WRITE_ERROR);

    EXPECT_EQ(receiver.body, "");
}

TEST(DownloadPart, SingleByteCanBeRefused) {
    const LoopbackHttpServer server{{HttpAnswer{200, "x", {}, false}}};
    CurlImpl curl;
    Receiver receiver;
    receiver.takes_body = false;

    EXPECT_EQ(failing_code(curl, server.url("/file"), receiver), CURLE_WRITE_ERROR);
}

TEST(DownloadPart, OfTheRestNamesTheFileByItsTagAsItCame) {
    const LoopbackHttpServer server{
        {HttpAnswer{206, "tent", {{"Content-Range", "bytes 3-6/7"}}, false}}};
    CurlImpl curl;
    Receiver receiver;

    curl.download_part(server.url("/file"), {3, "un\"quoted"}, receiver);

    EXPECT_EQ(receiver.body, "tent");
    EXPECT_EQ(receiver.head.content_range, "bytes 3-6/7");
    ASSERT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(server.requests()[0].headers.at("range"), "bytes=3-");
    EXPECT_EQ(server.requests()[0].headers.at("if-range"), "un\"quoted");
}

TEST(DownloadPart, HeadOfAnErrorIsShownAndItsBodyIsNot) {
    for (const int status : {404, 416, 503}) {
        const LoopbackHttpServer server{
            {HttpAnswer{status, "sorry", {{"Retry-After", "9"}}, false}}};
        CurlImpl curl;
        Receiver receiver;

        EXPECT_THROW(curl.download_part(server.url("/file"), {5, "tag"}, receiver),
                     HttpErrorCodeException)
            << status;

        EXPECT_EQ(receiver.head.status, static_cast<unsigned>(status));
        EXPECT_EQ(receiver.head.retry_after, "9");
        EXPECT_EQ(receiver.body, "");
    }
}

TEST(DownloadPart, ThatIsCutOffHasDeliveredItsBeginning) {
    const LoopbackHttpServer server{{HttpAnswer{200, "12345678", {}, true}}};
    CurlImpl curl;
    Receiver receiver;

    EXPECT_EQ(failing_code(curl, server.url("/file"), receiver), CURLE_PARTIAL_FILE);

    EXPECT_EQ(receiver.body, "1234");
}

TEST(DownloadPart, ReceiverCanRefuseTheHead) {
    const LoopbackHttpServer server{{HttpAnswer{200, "content", {}, false}}};
    CurlImpl curl;
    Receiver receiver;
    receiver.takes_head = false;

    EXPECT_EQ(failing_code(curl, server.url("/file"), receiver), CURLE_WRITE_ERROR);

    EXPECT_EQ(receiver.body, "");
}

TEST(DownloadPart, ReceiverCanRefuseTheBody) {
    const LoopbackHttpServer server{{HttpAnswer{200, "content", {}, false}}};
    CurlImpl curl;
    Receiver receiver;
    receiver.takes_body = false;

    EXPECT_EQ(failing_code(curl, server.url("/file"), receiver), CURLE_WRITE_ERROR);
}

TEST(DownloadPart, ReceiverCanStopATransfer) {
    const LoopbackHttpServer server{{HttpAnswer{200, "content", {}, false}}};
    CurlImpl curl;
    Receiver receiver;
    receiver.stopped = true;

    EXPECT_EQ(failing_code(curl, server.url("/file"), receiver), CURLE_ABORTED_BY_CALLBACK);
}

TEST(TlsSessionsOfTwoThreads, AreLockedByLibcurl) {
    TransportSettings settings;
    settings.tls_sessions = std::make_shared<TlsSessions>();
    const LoopbackHttpServer server{std::vector<HttpAnswer>(40, HttpAnswer{200, "x", {}, false})};
    std::atomic<unsigned> answered{0};
    const auto ask = [&] {
        for (unsigned i = 0; i < 20; ++i) {
            answered += CurlImpl{settings}.send_get_request(server.url("/")) == "x" ? 1 : 0;
        }
    };

    std::thread other{ask};
    ask();
    other.join();

    EXPECT_EQ(answered, 40U);
}

}  // namespace
}  // namespace zephran::http
