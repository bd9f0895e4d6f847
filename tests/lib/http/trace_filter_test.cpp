// SPDX-License-Identifier: Apache-2.0
#include "http/trace_filter.h"

#include <gtest/gtest.h>

namespace zephran::http {
namespace {

TEST(TraceFilter, OtherLinesStayAsTheyAre) {
    for (const char* const piece :
         {"", "\n", "Connected to update.example (192.0.2.1) port 443\n",
          "GET /DEFAULT/controller/v1/gw-1?a=b@c HTTP/1.1\r\n\r\n", "X-Cookie: a\r\n",
          "no end of line", "https://update.example/a@b\n"}) {
        EXPECT_EQ(without_credentials(piece), piece);
    }
}

TEST(TraceFilter, HeadersThatProveWhoSomebodyIsLoseTheirValues) {
    EXPECT_EQ(without_credentials("GET / HTTP/1.1\r\nAuthorization: Basic eDp5\r\n"
                                  "proxy-authorization:Basic eDp5\r\nCookie: a=b; c=d\r\n"
                                  "Accept: */*\r\n\r\n"),
              "GET / HTTP/1.1\r\nAuthorization: ***\r\nproxy-authorization: ***\r\n"
              "Cookie: ***\r\nAccept: */*\r\n\r\n");
    EXPECT_EQ(without_credentials("Set-Cookie: session=1\r\n"), "Set-Cookie: ***\r\n");
    EXPECT_EQ(without_credentials("Cookie: a"), "Cookie: ***");
}

TEST(TraceFilter, AddressesLoseNameAndPassword) {
    EXPECT_EQ(without_credentials("Uses proxy env variable https_proxy == "
                                  "'http://me:p@ss@proxy.example:3128'\n"),
              "Uses proxy env variable https_proxy == "
              "'http://***@proxy.example:3128'\n");
    EXPECT_EQ(without_credentials("from https://a@b.example/x to https://c:d@e.example\n"),
              "from https://***@b.example/x to https://***@e.example\n");
}

}  // namespace
}  // namespace zephran::http
