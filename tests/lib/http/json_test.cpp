// SPDX-License-Identifier: Apache-2.0
#include "http/json.h"

#include <iostream>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/logprint.h"
#include "http/exceptions.h"
#include "http/httpclient_curl.h"
#include "support/loopback_http_server.h"

namespace zephran::http {
namespace {

using test::LoopbackHttpServer;
using ::testing::ContainsRegex;
using ::testing::HasSubstr;

const ClientCertificate missing_certificate{CertificateType::pem, "/nonexistent.crt",
                                            "/nonexistent.key"};

class JsonRequesters : public ::testing::Test {
protected:
    void SetUp() override { debug_logger.enabled = false; }
    void TearDown() override { debug_logger.enabled = was_enabled; }

private:
    const bool was_enabled = debug_logger.enabled;
};

/// What is written to standard output while debug messages are on.
template <class Action>
std::string debug_output(Action action) {
    std::ostringstream text;
    auto* const before = std::cout.rdbuf(text.rdbuf());
    debug_logger.enabled = true;
    action();
    debug_logger.enabled = false;
    std::cout.rdbuf(before);
    return text.str();
}

template <class Request>
void expect_certificate_problem(Request request) {
    try {
        request();
        FAIL() << "no exception";
    } catch (const HttpRequestException& error) {
        ASSERT_NE(boost::get_error_info<curlcode_tag>(error), nullptr);
        EXPECT_EQ(*boost::get_error_info<curlcode_tag>(error), CURLE_SSL_CERTPROBLEM);
    }
}

Json::Value document() {
    Json::Value value;
    value["key"] = "value";
    return value;
}

TEST_F(JsonRequesters, GetParsesTheBody) {
    const LoopbackHttpServer server{{{200, R"({"key": [1, 2]})", {}, false}}};

    const auto value = JSONGETRequester{}(common::URI{server.url("/x?y=1")});

    EXPECT_EQ(value["key"][1].asInt(), 2);
    ASSERT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(server.requests()[0].method, "GET");
    EXPECT_EQ(server.requests()[0].target, "/x?y=1");
}

TEST_F(JsonRequesters, GetOfAnEmptyBodyIsAParserError) {
    const LoopbackHttpServer server{{{200, "", {}, false}}};

    EXPECT_THROW(JSONGETRequester{}(common::URI{server.url("/")}), common::ParserException);
}

TEST_F(JsonRequesters, GetLogsMethodUrlAndResponseEvenIfItIsNotJson) {
    const LoopbackHttpServer server{{{200, "<html>", {}, false}}};
    const auto url = server.url("/page");

    const auto output = debug_output(
        [&] { EXPECT_THROW(JSONGETRequester{}(common::URI{url}), common::ParserException); });

    EXPECT_THAT(output, ContainsRegex("DEBUG json\\.cpp:[0-9]+ operator\\(\\): method=GET"));
    EXPECT_THAT(output, HasSubstr("method=GET url=" + url + " response=<html>"));
}

TEST_F(JsonRequesters, PostSendsTheDocumentAndIgnoresTheAnswer) {
    const LoopbackHttpServer server{{{200, "not JSON", {}, false}}};

    JSONPOSTRequester{}(common::URI{server.url("/feedback")}, document());

    ASSERT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(server.requests()[0].method, "POST");
    EXPECT_EQ(server.requests()[0].headers.at("content-type"), "application/json");
    EXPECT_EQ(server.requests()[0].body, common::JSONDefaultWriter{}(document()));
}

TEST_F(JsonRequesters, PutSendsTheDocumentAndIgnoresTheAnswer) {
    const LoopbackHttpServer server{{{204, "", {}, false}}};

    JSONPUTRequester{}(common::URI{server.url("/configData")}, document());

    ASSERT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(server.requests()[0].method, "PUT");
    EXPECT_EQ(server.requests()[0].headers.at("content-type"), "application/json");
    EXPECT_EQ(server.requests()[0].body, common::JSONDefaultWriter{}(document()));
}

TEST_F(JsonRequesters, PostAndPutLogMethodUrlAndData) {
    const LoopbackHttpServer server{{{200, "", {}, false}, {200, "", {}, false}}};
    const auto url = server.url("/");
    const std::string data = "{\n    \t\"key\" : \"value\"\n    }";

    const auto output = debug_output([&] {
        JSONPOSTRequester{}(common::URI{url}, document());
        JSONPUTRequester{}(common::URI{url}, document());
    });

    EXPECT_THAT(output, HasSubstr(" operator(): method=POST url=" + url + " data=" + data));
    EXPECT_THAT(output, HasSubstr(" operator(): method=PUT url=" + url + " data=" + data));
}

TEST_F(JsonRequesters, GetOfAHugeDocumentEndsBeforeItIsParsed) {
    std::string body = "[" + std::string(CurlImpl::max_answer_size, ' ') + "]";
    const LoopbackHttpServer server{{{200, body, {}, false}}};

    try {
        JSONGETRequester{}(common::URI{server.url("/")});
        FAIL() << "no exception";
    } catch (const HttpRequestException& error) {
        ASSERT_NE(boost::get_error_info<curlcode_tag>(error), nullptr);
        EXPECT_EQ(*boost::get_error_info<curlcode_tag>(error), CURLE_WRITE_ERROR);
    }
}

/// A document of so many commas and opening brackets.
std::string array_of(std::size_t marks) {
    std::string body = "[0";
    for (std::size_t commas = 1; commas < marks; ++commas) {
        body += ",0";
    }
    return body + "]";
}

TEST_F(JsonRequesters, GetOfADocumentWithTooManyValuesEndsBeforeItIsParsed) {
    EXPECT_EQ(JSONGETRequester::max_values, 100'000U);
    const std::string allowed = array_of(JSONGETRequester::max_values);
    const std::string refused = array_of(JSONGETRequester::max_values + 1);
    const std::string hidden = "[\"" + std::string(JSONGETRequester::max_values, '{') + "\"]";
    const LoopbackHttpServer server{
        {{200, allowed, {}, false}, {200, refused, {}, false}, {200, hidden, {}, false}}};
    const common::URI uri{server.url("/")};

    EXPECT_EQ(JSONGETRequester{}(uri).size(), JSONGETRequester::max_values);
    for (int i = 0; i < 2; ++i) {
        try {
            JSONGETRequester{}(uri);
            ADD_FAILURE() << "no exception";
        } catch (const HttpRequestException& error) {
            const auto* const count = boost::get_error_info<value_count_tag>(error);
            ASSERT_NE(count, nullptr);
            EXPECT_EQ(*count, JSONGETRequester::max_values + 1);
        }
    }
}

TEST_F(JsonRequesters, PostAndPutKeepNothingOfAHugeAnswer) {
    const std::string body(CurlImpl::max_answer_size + 1, ' ');
    const LoopbackHttpServer server{{{200, body, {}, false}, {200, body, {}, false}}};

    EXPECT_NO_THROW(JSONPOSTRequester{}(common::URI{server.url("/")}, document()));
    EXPECT_NO_THROW(JSONPUTRequester{}(common::URI{server.url("/")}, document()));

    EXPECT_EQ(server.requests().size(), 2U);
}

TEST_F(JsonRequesters, ErrorStatusPassesThrough) {
    const LoopbackHttpServer server{
        {{403, "{}", {}, false}, {410, "{}", {}, false}, {500, "{}", {}, false}}};
    const common::URI uri{server.url("/")};

    EXPECT_THROW(JSONGETRequester{}(uri), HttpErrorCodeException);
    EXPECT_THROW(JSONPOSTRequester{}(uri, document()), HttpErrorCodeException);
    EXPECT_THROW(JSONPUTRequester{}(uri, document()), HttpErrorCodeException);
}

TEST_F(JsonRequesters, CertificateFormsPresentTheCertificate) {
    const LoopbackHttpServer server{{}};
    const common::URI uri{server.url("/", "https")};

    expect_certificate_problem([&] { JSONGETRequester{}(missing_certificate, uri); });
    expect_certificate_problem([&] { JSONPOSTRequester{}(missing_certificate, uri, document()); });
    expect_certificate_problem([&] { JSONPUTRequester{}(missing_certificate, uri, document()); });
}

TEST_F(JsonRequesters, PresentTheCertificateOfTheirSettings) {
    const LoopbackHttpServer server{{}};
    const common::URI uri{server.url("/", "https")};
    TransportSettings settings;
    settings.client_certificate = missing_certificate;

    expect_certificate_problem([&] { JSONGETRequester{settings}(uri); });
    expect_certificate_problem([&] { JSONPOSTRequester{settings}(uri, document()); });
    expect_certificate_problem([&] { JSONPUTRequester{settings}(uri, document()); });
}

}  // namespace
}  // namespace zephran::http
