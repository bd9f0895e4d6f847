// SPDX-License-Identifier: Apache-2.0
#include "http/httpclient.h"

#include <filesystem>
#include <fstream>
#include <memory>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "support/null_receiver.h"
#include "support/temporary_directory.h"

namespace zephran::http {
namespace {

using ::testing::_;
using ::testing::Return;

class MockTransport : public ClientInterface {
public:
    MOCK_METHOD(void, set_client_certificate, (const ClientCertificate&), (override));
    MOCK_METHOD(void, download_to_file, (const std::string&, std::ostream&), (override));
    MOCK_METHOD(void, download_part, (const std::string&, const RangeWanted&, PartialReceiver&),
                (override));
    MOCK_METHOD(std::string, send_delete_request, (const std::string&), (override));
    MOCK_METHOD(std::string, send_get_request, (const std::string&), (override));
    MOCK_METHOD(std::string, send_patch_request,
                (const std::string&, const std::string&, const std::string&), (override));
    MOCK_METHOD(std::string, send_post_request,
                (const std::string&, const std::string&, const std::string&), (override));
    MOCK_METHOD(std::string, send_put_request,
                (const std::string&, const std::string&, const std::string&), (override));
};

/// A client and the transport that it owns.
class HttpClient : public ::testing::Test {
protected:
    ::testing::StrictMock<MockTransport>* const transport =
        new ::testing::StrictMock<MockTransport>;
    Client client{std::unique_ptr<ClientInterface>{transport}};
};

TEST_F(HttpClient, GetIsForwardedAndReturnsTheBody) {
    EXPECT_CALL(*transport, send_get_request("http://a/b")).WillOnce(Return("got"));

    EXPECT_EQ(client.send_get_request("http://a/b"), "got");
}

TEST_F(HttpClient, DeleteIsForwardedAndReturnsTheBody) {
    EXPECT_CALL(*transport, send_delete_request("http://a/b")).WillOnce(Return("deleted"));

    EXPECT_EQ(client.send_delete_request("http://a/b"), "deleted");
}

TEST_F(HttpClient, PostIsForwardedAndReturnsTheBody) {
    EXPECT_CALL(*transport, send_post_request("http://a/b", "data", "text/plain"))
        .WillOnce(Return("posted"));

    EXPECT_EQ(client.send_post_request("http://a/b", "data", "text/plain"), "posted");
}

TEST_F(HttpClient, PutIsForwardedAndReturnsTheBody) {
    EXPECT_CALL(*transport, send_put_request("http://a/b", "data", "text/plain"))
        .WillOnce(Return("put"));

    EXPECT_EQ(client.send_put_request("http://a/b", "data", "text/plain"), "put");
}

TEST_F(HttpClient, PatchIsForwardedAndReturnsTheBody) {
    EXPECT_CALL(*transport, send_patch_request("http://a/b", "data", "text/plain"))
        .WillOnce(Return("patched"));

    EXPECT_EQ(client.send_patch_request("http://a/b", "data", "text/plain"), "patched");
}

TEST_F(HttpClient, CertificateIsForwarded) {
    EXPECT_CALL(*transport, set_client_certificate(_)).WillOnce([](const ClientCertificate& given) {
        EXPECT_EQ(given.type, CertificateType::der);
        EXPECT_EQ(given.certificate, "/etc/client.crt");
        EXPECT_EQ(given.key, "/etc/client.key");
    });

    client.set_client_certificate({CertificateType::der, "/etc/client.crt", "/etc/client.key"});
}

TEST_F(HttpClient, DownloadOfAPartIsForwarded) {
    test::NullReceiver receiver;
    EXPECT_CALL(*transport, download_part("http://a/b", _, ::testing::Ref(receiver)))
        .WillOnce([](const std::string&, const RangeWanted& wanted, PartialReceiver&) {
            EXPECT_EQ(wanted.from, 7U);
            EXPECT_EQ(wanted.entity_tag, "tag");
        });

    client.download_part("http://a/b", {7, "tag"}, receiver);
}

TEST_F(HttpClient, DownloadIntoMissingDirectoryIsRefusedBeforeAnyTraffic) {
    const std::string filename = "/nonexistent/directory/file";

    try {
        client.download_to_file("http://a/b", filename);
        FAIL() << "no exception";
    } catch (const common::OutputFileOpenException& error) {
        const auto* const named = boost::get_error_info<common::filename_tag>(error);
        ASSERT_NE(named, nullptr);
        EXPECT_EQ(*named, filename);
        EXPECT_STREQ(error.what(), "Failed to open file for writing");
    }
}

TEST_F(HttpClient, DownloadReplacesTheFile) {
    const TemporaryDirectory directory;
    const auto filename = directory.write("file", "a longer content from before");
    EXPECT_CALL(*transport, download_to_file("http://a/b", _))
        .WillOnce([](const std::string&, std::ostream& out) { out << "new"; });

    client.download_to_file("http://a/b", filename);

    EXPECT_EQ(directory.read("file"), "new");
}

TEST_F(HttpClient, DownloadReplacesALinkAndLeavesItsTargetAlone) {
    const TemporaryDirectory directory;
    const auto outside = directory.write("outside", "precious");
    const auto filename = directory.path("file");
    std::filesystem::create_symlink(outside, filename);
    EXPECT_CALL(*transport, download_to_file("http://a/b", _))
        .WillOnce([](const std::string&, std::ostream& out) { out << "new"; });

    client.download_to_file("http://a/b", filename);

    EXPECT_EQ(directory.read("outside"), "precious");
    EXPECT_FALSE(std::filesystem::is_symlink(filename));
    EXPECT_EQ(directory.read("file"), "new");
}

TEST_F(HttpClient, DownloadIsOutOfReachOfWhoeverHasTheOldFileOpen) {
    const TemporaryDirectory directory;
    std::ofstream planted{directory.write("file", "planted"), std::ios::in | std::ios::out};
    EXPECT_CALL(*transport, download_to_file("http://a/b", _))
        .WillOnce([](const std::string&, std::ostream& out) { out << "downloaded"; });

    client.download_to_file("http://a/b", directory.path("file"));
    planted << "rewritten" << std::flush;

    ASSERT_TRUE(planted.good());
    EXPECT_EQ(directory.read("file"), "downloaded");
}

TEST_F(HttpClient, DownloadDoesNotWaitForAPipe) {
    const TemporaryDirectory directory;
    const auto filename = directory.path("file");
    ASSERT_EQ(mkfifo(filename.c_str(), S_IRUSR | S_IWUSR), 0);
    EXPECT_CALL(*transport, download_to_file("http://a/b", _))
        .WillOnce([](const std::string&, std::ostream& out) { out << "new"; });

    client.download_to_file("http://a/b", filename);

    EXPECT_TRUE(std::filesystem::is_regular_file(filename));
    EXPECT_EQ(directory.read("file"), "new");
}

TEST_F(HttpClient, DownloadedFileIsForItsOwnerAlone) {
    const TemporaryDirectory directory;
    const auto filename = directory.write("file", "for everybody");
    EXPECT_CALL(*transport, download_to_file("http://a/b", _));

    client.download_to_file("http://a/b", filename);

    EXPECT_EQ(std::filesystem::status(filename).permissions(),
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

TEST_F(HttpClient, DownloadOverADirectoryIsRefusedBeforeAnyTraffic) {
    const TemporaryDirectory directory;
    directory.write("file/inner", "");

    try {
        client.download_to_file("http://a/b", directory.path("file"));
        FAIL() << "no exception";
    } catch (const common::OutputFileOpenException& error) {
        const auto* const named = boost::get_error_info<common::filename_tag>(error);
        ASSERT_NE(named, nullptr);
        EXPECT_EQ(*named, directory.path("file"));
    }
    EXPECT_TRUE(directory.has("file/inner"));
}

TEST_F(HttpClient, FailedDownloadLeavesWhatHadArrived) {
    const TemporaryDirectory directory;
    EXPECT_CALL(*transport, download_to_file("http://a/b", _))
        .WillOnce([](const std::string&, std::ostream& out) {
            out << "half";
            throw common::NotImplementedException{};
        });

    EXPECT_THROW(client.download_to_file("http://a/b", directory.path("file")),
                 common::NotImplementedException);

    EXPECT_EQ(directory.read("file"), "half");
}

TEST(HttpClientConstruction, TypeWithoutTransportIsNotImplemented) {
    try {
        const Client client{static_cast<ClientImplementationType>(1)};
        FAIL() << "no exception";
    } catch (const common::NotImplementedException& error) {
        EXPECT_STREQ(error.what(), "Not implemented");
    }
}

TEST(HttpClientConstruction, CurlTransportIsAvailable) {
    EXPECT_NO_THROW(Client{ClientImplementationType::curl});
}

TEST(CurlConfiguration, KeepsThePointerToTheCaBundlePath) {
    const char path[] = "/etc/ca.pem";
    const char* const before = curl_configuration::get_ca_bundle_path();

    curl_configuration::set_ca_bundle_path(path);
    const char* const kept = curl_configuration::get_ca_bundle_path();
    curl_configuration::set_ca_bundle_path(nullptr);

    EXPECT_EQ(before, nullptr);
    EXPECT_EQ(kept, path);
    EXPECT_EQ(curl_configuration::get_ca_bundle_path(), nullptr);
}

}  // namespace
}  // namespace zephran::http
