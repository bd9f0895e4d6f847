// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/logprint.h"
#include "curl_probe.h"
#include "http/exceptions.h"
#include "http/httpclient_curl.h"
#include "http/json.h"
#include "support/captured_log.h"
#include "support/null_receiver.h"

namespace zephran::http {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Not;

/// What a request tells libcurl. Nothing is transferred.
class CurlOptions : public ::testing::Test {
protected:
    void SetUp() override { debug_logger.enabled = false; }
    void TearDown() override {
        debug_logger.enabled = was_enabled;
        curl_configuration::set_ca_bundle_path(nullptr);
    }

    CurlProbe probe;
    CurlImpl curl;

private:
    const bool was_enabled = debug_logger.enabled;
};

/// The text about the transfer that a failed request reports.
std::string reported_error_text(CurlImpl& failing) {
    try {
        failing.send_get_request("http://a/b");
    } catch (const HttpRequestException& error) {
        const auto* const text = boost::get_error_info<curlerrorbuffer_tag>(error);
        return text == nullptr ? "(no text)" : *text;
    }
    return "(no exception)";
}

TEST_F(CurlOptions, OfGet) {
    curl.send_get_request("http://a/b");

    EXPECT_THAT(probe.option_names(),
                ElementsAre(CURLOPT_URL, CURLOPT_WRITEFUNCTION, CURLOPT_WRITEDATA,
                            CURLOPT_FAILONERROR, CURLOPT_ERRORBUFFER));
    EXPECT_EQ(probe.value(CURLOPT_URL), "http://a/b");
    EXPECT_EQ(probe.value(CURLOPT_FAILONERROR), "1");
    EXPECT_EQ(probe.transfers, 1);
}

TEST_F(CurlOptions, OfDelete) {
    curl.send_delete_request("http://a/b");

    EXPECT_THAT(probe.option_names(),
                ElementsAre(CURLOPT_URL, CURLOPT_CUSTOMREQUEST, CURLOPT_WRITEFUNCTION,
                            CURLOPT_WRITEDATA, CURLOPT_FAILONERROR, CURLOPT_ERRORBUFFER));
    EXPECT_EQ(probe.value(CURLOPT_CUSTOMREQUEST), "DELETE");
}

TEST_F(CurlOptions, OfDownload) {
    std::ostringstream out;

    curl.download_to_file("http://a/b", out);

    EXPECT_THAT(probe.option_names(),
                ElementsAre(CURLOPT_URL, CURLOPT_WRITEFUNCTION, CURLOPT_WRITEDATA,
                            CURLOPT_FAILONERROR, CURLOPT_ERRORBUFFER));
}

TEST_F(CurlOptions, OfDownloadBesideTheMainThread) {
    test::NullReceiver receiver;

    curl.download_part("http://a/b", {}, receiver);

    EXPECT_THAT(probe.option_names(),
                ElementsAre(CURLOPT_URL, CURLOPT_NOSIGNAL, CURLOPT_BUFFERSIZE,
                            CURLOPT_HEADERFUNCTION, CURLOPT_HEADERDATA, CURLOPT_WRITEFUNCTION,
                            CURLOPT_WRITEDATA, CURLOPT_NOPROGRESS, CURLOPT_XFERINFOFUNCTION,
                            CURLOPT_XFERINFODATA, CURLOPT_FAILONERROR, CURLOPT_ERRORBUFFER));
    EXPECT_EQ(probe.value(CURLOPT_NOSIGNAL), "1");
    EXPECT_EQ(probe.value(CURLOPT_BUFFERSIZE), "102400");
}

TEST(TransferInTheLog, TellsItsFiguresInMillisecondsAndBytes) {
    CurlProbe probe;
    probe.figures = {{CURLINFO_TOTAL_TIME_T, 5'500'999}, {CURLINFO_SIZE_DOWNLOAD_T, 70}};
    TransportSettings settings;
    settings.log = TransferLog::all;
    const CapturedLog log{"INFO"};

    CurlImpl{settings}.send_get_request("http://a/b");

    EXPECT_THAT(log.text(), testing::HasSubstr("milliseconds=5500 bytes=70\n"));
}

TEST_F(CurlOptions, OfPut) {
    curl.send_put_request("http://a/b", "12345", "application/json");

    EXPECT_THAT(probe.option_names(),
                ElementsAre(CURLOPT_URL, CURLOPT_UPLOAD, CURLOPT_READFUNCTION, CURLOPT_READDATA,
                            CURLOPT_INFILESIZE, CURLOPT_WRITEFUNCTION, CURLOPT_WRITEDATA,
                            CURLOPT_FAILONERROR, CURLOPT_ERRORBUFFER, CURLOPT_HTTPHEADER));
    EXPECT_EQ(probe.value(CURLOPT_UPLOAD), "1");
    EXPECT_EQ(probe.value(CURLOPT_INFILESIZE), "5");
    EXPECT_EQ(probe.value(CURLOPT_HTTPHEADER), "Content-Type: application/json\n");
}

TEST_F(CurlOptions, OfPutWithoutBody) {
    curl.send_put_request("http://a/b", "", "application/json");

    EXPECT_EQ(probe.value(CURLOPT_INFILESIZE), "0");
}

TEST_F(CurlOptions, OfPostAndPatch) {
    for (const std::string method : {"POST", "PATCH"}) {
        probe.options.clear();

        if (method == "POST") {
            curl.send_post_request("http://a/b", "12345", "text/plain");
        } else {
            curl.send_patch_request("http://a/b", "12345", "text/plain");
        }

        EXPECT_THAT(probe.option_names(),
                    ElementsAre(CURLOPT_URL, CURLOPT_UPLOAD, CURLOPT_CUSTOMREQUEST,
                                CURLOPT_READFUNCTION, CURLOPT_READDATA, CURLOPT_INFILESIZE,
                                CURLOPT_WRITEFUNCTION, CURLOPT_WRITEDATA, CURLOPT_FAILONERROR,
                                CURLOPT_ERRORBUFFER, CURLOPT_HTTPHEADER));
        EXPECT_EQ(probe.value(CURLOPT_CUSTOMREQUEST), method);
    }
}

TEST_F(CurlOptions, OfClientCertificate) {
    curl.set_client_certificate({CertificateType::pem, "/old.crt", "/old.key"});
    curl.set_client_certificate({CertificateType::der, "/new.crt", "/new.key"});

    curl.send_get_request("http://a/b");

    EXPECT_THAT(
        probe.option_names(),
        ElementsAre(CURLOPT_URL, CURLOPT_WRITEFUNCTION, CURLOPT_WRITEDATA, CURLOPT_FAILONERROR,
                    CURLOPT_ERRORBUFFER, CURLOPT_SSLCERTTYPE, CURLOPT_SSLCERT, CURLOPT_SSLKEY));
    EXPECT_EQ(probe.value(CURLOPT_SSLCERTTYPE), "DER");
    EXPECT_EQ(probe.value(CURLOPT_SSLCERT), "/new.crt");
    EXPECT_EQ(probe.value(CURLOPT_SSLKEY), "/new.key");
}

TEST_F(CurlOptions, OfPemCertificate) {
    curl.set_client_certificate({CertificateType::pem, "/a.crt", "/a.key"});

    curl.send_get_request("http://a/b");

    EXPECT_EQ(probe.value(CURLOPT_SSLCERTTYPE), "PEM");
}

TEST_F(CurlOptions, NumberTheCertificateTypes) {
    EXPECT_EQ(static_cast<int>(CertificateType::pem), 0);
    EXPECT_EQ(static_cast<int>(CertificateType::der), 1);
}

TEST_F(CurlOptions, OfUnknownCertificateTypeHaveNoTypeName) {
    curl.set_client_certificate({static_cast<CertificateType>(7), "/a.crt", "/a.key"});

    curl.send_get_request("http://a/b");

    EXPECT_EQ(probe.value(CURLOPT_SSLCERTTYPE), "(null)");
}

TEST_F(CurlOptions, OfCaBundleExcludeTheSystemDirectory) {
    curl_configuration::set_ca_bundle_path("/etc/own-ca.pem");

    curl.send_get_request("http://a/b");

    EXPECT_THAT(
        probe.option_names(),
        ElementsAre(CURLOPT_URL, CURLOPT_WRITEFUNCTION, CURLOPT_WRITEDATA, CURLOPT_FAILONERROR,
                    CURLOPT_ERRORBUFFER, CURLOPT_CAINFO, CURLOPT_CAPATH));
    EXPECT_EQ(probe.value(CURLOPT_CAINFO), "/etc/own-ca.pem");
    EXPECT_EQ(probe.value(CURLOPT_CAPATH), "(null)");
}

TEST_F(CurlOptions, OfSettingsHaveTheirCaBundleAndCertificate) {
    curl_configuration::set_ca_bundle_path("/etc/default-ca.pem");
    TransportSettings settings;
    settings.ca_bundle = "/etc/own-ca.pem";
    settings.client_certificate.emplace(CertificateType::pem, "/a.crt", "/a.key");

    CurlImpl{settings}.send_get_request("http://a/b");

    EXPECT_THAT(probe.option_names(),
                ElementsAre(CURLOPT_URL, CURLOPT_WRITEFUNCTION, CURLOPT_WRITEDATA,
                            CURLOPT_FAILONERROR, CURLOPT_ERRORBUFFER, CURLOPT_SSLCERTTYPE,
                            CURLOPT_SSLCERT, CURLOPT_SSLKEY, CURLOPT_CAINFO, CURLOPT_CAPATH));
    EXPECT_EQ(probe.value(CURLOPT_SSLCERT), "/a.crt");
    EXPECT_EQ(probe.value(CURLOPT_CAINFO), "/etc/own-ca.pem");
    EXPECT_EQ(probe.value(CURLOPT_CAPATH), "(null)");
}

TEST_F(CurlOptions, OfSettingsWithoutCaBundleTakeTheDefaultOfTheProcess) {
    CurlImpl made_before{TransportSettings{}};
    curl_configuration::set_ca_bundle_path("/etc/default-ca.pem");

    made_before.send_get_request("http://a/b");

    EXPECT_EQ(probe.value(CURLOPT_CAINFO), "/etc/default-ca.pem");
}

TEST_F(CurlOptions, OfTheCertificateFormsKeepTheOtherSettings) {
    TransportSettings settings;
    settings.ca_bundle = "/etc/own-ca.pem";
    settings.client_certificate.emplace(CertificateType::pem, "/a.crt", "/a.key");

    JSONPUTRequester{settings}({CertificateType::der, "/b.crt", "/b.key"},
                               common::URI{"http://a/b"}, Json::Value{});

    EXPECT_EQ(probe.value(CURLOPT_SSLCERTTYPE), "DER");
    EXPECT_EQ(probe.value(CURLOPT_SSLCERT), "/b.crt");
    EXPECT_EQ(probe.value(CURLOPT_CAINFO), "/etc/own-ca.pem");
}

TEST_F(CurlOptions, AreVerboseOnlyWhileDebugMessagesAreOn) {
    curl.send_get_request("http://a/b");
    const auto quiet = probe.option_names();
    probe.options.clear();

    debug_logger.enabled = true;
    curl.send_get_request("http://a/b");
    debug_logger.enabled = false;

    EXPECT_THAT(quiet, Not(Contains(CURLOPT_VERBOSE)));
    EXPECT_THAT(quiet, Not(Contains(CURLOPT_DEBUGFUNCTION)));
    EXPECT_EQ(probe.option_names().back(), CURLOPT_VERBOSE);
    EXPECT_THAT(probe.option_names(), Contains(CURLOPT_DEBUGFUNCTION));
    EXPECT_EQ(probe.value(CURLOPT_VERBOSE), "1");
}

TEST_F(CurlOptions, RefusedBeforeTheTransferEndTheRequest) {
    for (const CURLoption option :
         {CURLOPT_URL, CURLOPT_UPLOAD, CURLOPT_HTTPHEADER, CURLOPT_FAILONERROR}) {
        probe.refused_options = {{option, CURLE_UNKNOWN_OPTION}};

        try {
            curl.send_post_request("http://a/b", "12345", "text/plain");
            FAIL() << "no exception";
        } catch (const ConfigureRequestException& error) {
            ASSERT_NE(boost::get_error_info<curlopt_tag>(error), nullptr);
            EXPECT_EQ(*boost::get_error_info<curlopt_tag>(error), option);
        }
    }
    EXPECT_EQ(probe.transfers, 0);
}

TEST_F(CurlOptions, WithoutAHandleTheRequestIsNotMade) {
    probe.refuse_handles = true;

    EXPECT_THROW(curl.send_get_request("http://a/b"), CreateRequestException);
    EXPECT_THROW(curl.send_put_request("http://a/b", "", ""), CreateRequestException);

    EXPECT_EQ(probe.transfers, 0);
}

TEST_F(CurlOptions, LeaveDotsInThePathWhereLibcurlWouldFoldThem) {
    for (const std::string url :
         {"http://a/.", "http://a/..", "http://a/../b", "http://a/b/./c?d", "http://a/%2E%2e",
          "http://a/%2e%2E", "http://a/b/.%2e/c", "http://a/%2E?b", "http://a/b/..#c"}) {
        probe.options.clear();

        curl.send_get_request(url);

        EXPECT_EQ(probe.value(CURLOPT_PATH_AS_IS), "1") << url;
    }
}

TEST_F(CurlOptions, LeaveOtherPathsToLibcurl) {
    for (const std::string url :
         {"http://a/b", "http://a", "http://a/...", "http://a/.b/c.", "http://a/%2E%2Eb",
          "http://a/b?c=/../d", "http://a/b#/../c", "http://a/%2F..%2Fb", "http://a/%2"}) {
        probe.options.clear();

        curl.send_get_request(url);

        EXPECT_THAT(probe.option_names(), Not(Contains(CURLOPT_PATH_AS_IS))) << url;
    }
}

TEST_F(CurlOptions, LeaveDotsInThePathWhateverTheMethod) {
    const std::string url = "http://a/..";
    std::ostringstream out;

    curl.send_get_request(url);
    curl.send_delete_request(url);
    curl.send_put_request(url, "x", "text/plain");
    curl.send_post_request(url, "x", "text/plain");
    curl.send_patch_request(url, "x", "text/plain");
    curl.download_to_file(url, out);

    const auto names = probe.option_names();
    EXPECT_EQ(std::count(names.begin(), names.end(), CURLOPT_PATH_AS_IS), 6);
}

TEST_F(CurlOptions, AreSetOnAHandleThatIsGivenBackOnEveryPath) {
    std::ostringstream out;
    const auto send_all = [&](auto expect) {
        expect([&] { curl.send_get_request("http://a/b"); });
        expect([&] { curl.send_delete_request("http://a/b"); });
        expect([&] { curl.send_put_request("http://a/b", "x", "text/plain"); });
        expect([&] { curl.send_post_request("http://a/b", "x", "text/plain"); });
        expect([&] { curl.send_patch_request("http://a/b", "x", "text/plain"); });
        expect([&] { curl.download_to_file("http://a/b", out); });
        EXPECT_EQ(probe.handles, 0);
        EXPECT_EQ(probe.header_lists, 0);
    };

    send_all([](auto request) { EXPECT_NO_THROW(request()); });
    probe.perform_result = CURLE_COULDNT_CONNECT;
    send_all([](auto request) { EXPECT_THROW(request(), HttpRequestException); });
    probe.perform_result = CURLE_HTTP_RETURNED_ERROR;
    send_all([](auto request) { EXPECT_THROW(request(), HttpErrorCodeException); });
    probe.refused_options = {{CURLOPT_FAILONERROR, CURLE_UNKNOWN_OPTION}};
    send_all([](auto request) { EXPECT_THROW(request(), ConfigureRequestException); });
    probe.refused_options = {{CURLOPT_URL, CURLE_OUT_OF_MEMORY}};
    send_all([](auto request) { EXPECT_THROW(request(), ConfigureRequestException); });

    EXPECT_EQ(probe.transfers, 18);
}

TEST_F(CurlOptions, FollowAReadingOfTheResolverConfigurationForEveryTransfer) {
    std::ostringstream out;

    curl.send_get_request("http://a/b");
    curl.send_put_request("http://a/b", "x", "text/plain");
    curl.download_to_file("http://a/b", out);

    EXPECT_THAT(probe.resolver_readings_before_transfers, ElementsAre(1, 1, 1));
}

TEST_F(CurlOptions, ErrorTextOfAnEarlierTransferIsNotReported) {
    probe.perform_result = CURLE_RECV_ERROR;
    probe.error_text = "the first one";
    const auto first = reported_error_text(curl);
    probe.error_text = "";

    const auto second = reported_error_text(curl);

    EXPECT_EQ(first, "the first one");
    EXPECT_EQ(second, "");
}

TEST_F(CurlOptions, OfEveryJsonCallComeFromAFreshClient) {
    TransportSettings settings;
    settings.ca_bundle = "/etc/own-ca.pem";
    const ClientCertificate certificate{CertificateType::pem, "/a.crt", "/a.key"};
    const common::URI uri{"http://a/b"};
    const auto options_of = [this](auto request) {
        probe.options.clear();
        request();
        return probe.option_names();
    };
    const auto expect_fresh = [&](auto with_certificate, auto without, auto without_settings) {
        const auto first = options_of(with_certificate);
        const auto second = options_of(without);
        const auto third = options_of(without_settings);
        EXPECT_THAT(first, ::testing::IsSupersetOf({CURLOPT_SSLCERT, CURLOPT_CAINFO}));
        EXPECT_THAT(second, Not(Contains(CURLOPT_SSLCERT)));
        EXPECT_THAT(second, Contains(CURLOPT_CAINFO));
        EXPECT_THAT(third, Not(Contains(CURLOPT_CAINFO)));
    };

    // The transfers give no document.
    const JSONGETRequester get{settings};
    expect_fresh([&] { EXPECT_THROW(get(certificate, uri), common::ParserException); },
                 [&] { EXPECT_THROW(get(uri), common::ParserException); },
                 [&] { EXPECT_THROW(JSONGETRequester{}(uri), common::ParserException); });
    const JSONPOSTRequester post{settings};
    expect_fresh([&] { post(certificate, uri, {}); }, [&] { post(uri, {}); },
                 [&] { JSONPOSTRequester{}(uri, {}); });
    const JSONPUTRequester put{settings};
    expect_fresh([&] { put(certificate, uri, {}); }, [&] { put(uri, {}); },
                 [&] { JSONPUTRequester{}(uri, {}); });
}

TEST_F(CurlOptions, FailedTransferCarriesCodeAndTexts) {
    probe.perform_result = CURLE_OPERATION_TIMEDOUT;

    try {
        curl.send_get_request("http://a/b");
        FAIL() << "no exception";
    } catch (const HttpRequestException& error) {
        ASSERT_NE(boost::get_error_info<curlcode_tag>(error), nullptr);
        EXPECT_EQ(*boost::get_error_info<curlcode_tag>(error), CURLE_OPERATION_TIMEDOUT);
        ASSERT_NE(boost::get_error_info<curlmessage_tag>(error), nullptr);
        EXPECT_EQ(*boost::get_error_info<curlmessage_tag>(error),
                  curl_easy_strerror(CURLE_OPERATION_TIMEDOUT));
        ASSERT_NE(boost::get_error_info<curlerrorbuffer_tag>(error), nullptr);
        EXPECT_EQ(*boost::get_error_info<curlerrorbuffer_tag>(error), "");
    }
}

}  // namespace
}  // namespace zephran::http
