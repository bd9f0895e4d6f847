// SPDX-License-Identifier: Apache-2.0
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/logprint.h"
#include "curl_probe.h"
#include "http/httpclient_curl.h"
#include "http/json.h"

namespace zephran::http {
namespace {

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

TEST_F(CurlOptions, OfPut) {
    curl.send_put_request("http://a/b", "12345", "application/json");

    EXPECT_THAT(probe.option_names(),
                ElementsAre(CURLOPT_URL, CURLOPT_UPLOAD, CURLOPT_READFUNCTION, CURLOPT_READDATA,
                            CURLOPT_INFILESIZE, CURLOPT_WRITEFUNCTION, CURLOPT_WRITEDATA,
                            CURLOPT_HTTPHEADER, CURLOPT_FAILONERROR, CURLOPT_ERRORBUFFER));
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
                                CURLOPT_WRITEFUNCTION, CURLOPT_WRITEDATA, CURLOPT_HTTPHEADER,
                                CURLOPT_FAILONERROR, CURLOPT_ERRORBUFFER));
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

    EXPECT_THAT(quiet, Not(::testing::Contains(CURLOPT_VERBOSE)));
    EXPECT_EQ(probe.option_names().back(), CURLOPT_VERBOSE);
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
