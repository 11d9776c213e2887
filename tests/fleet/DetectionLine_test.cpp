// SPDX-License-Identifier: Apache-2.0
#include "DetectionLine.h"

#include <sstream>

#include <gtest/gtest.h>
#include <json/reader.h>

namespace srcwatch {
namespace {

Json::Value Parse(const std::string& text)
{
    Json::Value value;
    std::istringstream(text) >> value;
    return value;
}

Json::Value Entry()
{
    return Parse(R"({"aksv":"0dbf0c7a29","port":1,"pri":2,"result":["Desk 5","MARROWIC","PC"],
        "spd":["MARROWIC","Desk 5","Desk"],"t":111,"vendor_id":"a1f002"})");
}

constexpr std::chrono::system_clock::time_point kTime{std::chrono::milliseconds(1767225599123)};

TEST(DetectionLine, SaysAllByItself)
{
    const Origin origin{"tv 7", "2.1", ""};

    const Json::Value line = DetectionLine(origin, {Occasion::kDetected, 1, Entry(), 3}, kTime);

    EXPECT_EQ(line, Parse(R"({"event":"detected","time":"2025-12-31T23:59:59.123000Z","tv":"tv 7","firmware":"2.1",
        "port":1,"denied":3,"method":2,"method_name":"SPD InfoFrame","type":"PC","result":["Desk 5","MARROWIC"],
        "spd_vendor":"MARROWIC","spd_product":"Desk 5","osd_name":"Desk","vendor_id":"a1f002","t":111,
        "aksv_hash":null})"));
}

TEST(DetectionLine, NamesItsOccasion)
{
    const auto event = [](Occasion occasion) { return DetectionLine({}, {occasion, 0, Entry(), {}}, kTime)["event"]; };

    EXPECT_EQ(event(Occasion::kDetected), "detected");
    EXPECT_EQ(event(Occasion::kDenied), "denied");
    EXPECT_EQ(event(Occasion::kRemembered), "remembered");
}

TEST(DetectionLine, HasNoNumberOfDenialsThatIsNotKnown)
{
    EXPECT_TRUE(DetectionLine({}, {Occasion::kRemembered, 0, Entry(), {}}, kTime)["denied"].isNull());
}

// The hash is that of "openssl dgst -sha256 -hmac".
TEST(DetectionLine, HashesTheAksvWithTheKeyOnly)
{
    const auto line = [](const char* key) {
        return LineText(DetectionLine({"", "", key}, {Occasion::kDetected, 1, Entry(), 0}, kTime));
    };

    EXPECT_NE(line("0123456789abcdef").find("a667e9c173334bcd8fd36df5ac8455e685845fa48a5b28a5e01c913a1d2a8f90"),
              std::string::npos)
        << line("0123456789abcdef");
    EXPECT_EQ(line("0123456789abcdef").find("0dbf0c7a29"), std::string::npos);
    EXPECT_NE(line("another key of 16"), line("0123456789abcdef"));
    EXPECT_NE(line("").find("\"aksv_hash\":null"), std::string::npos);
}

TEST(DetectionLine, HasNoHashWithoutAnAksv)
{
    Json::Value entry = Entry();
    for (const Json::Value& aksv : {Json::Value(""), Json::Value(5), Json::Value()}) {
        entry["aksv"] = aksv;
        EXPECT_TRUE(DetectionLine({"", "", "key"}, {Occasion::kDetected, 1, entry, 0}, kTime)["aksv_hash"].isNull());
    }
}

TEST(DetectionLine, IsOneLineOfAsciiWhateverADeviceSays)
{
    Json::Value entry = Entry();
    entry["spd"][0] = "a\nb\"\\\x7f\xff\xc3\xa4";

    const std::string text =
        LineText(DetectionLine({"\xe2\x82\xac", "\n", ""}, {Occasion::kDenied, 1, entry, 0}, kTime));

    for (const char c : text) EXPECT_TRUE(c >= ' ' && c <= '\x7f') << text;
    EXPECT_EQ(Parse(text)["tv"], "\xe2\x82\xac");
    EXPECT_EQ(Parse(text)["firmware"], "\n");
}

TEST(DetectionLine, ReadsWhatIsUnexpectedAsAbsent)
{
    const Json::Value nothing = DescribeDetection(Json::objectValue);
    EXPECT_EQ(nothing["t"], -1);
    EXPECT_EQ(nothing["method"], 0);
    EXPECT_EQ(nothing["spd_vendor"], "");
    EXPECT_EQ(nothing["result"], Parse(R"(["", ""])"));

    const Json::Value odd = DescribeDetection(
        Parse(R"({"t":"soon","pri":[],"spd":["two","texts"],"result":[["a"],{},"PC"],"vendor_id":5})"));
    EXPECT_EQ(odd["t"], -1);
    EXPECT_EQ(odd["method"], 0);
    EXPECT_EQ(odd["spd_vendor"], "");
    EXPECT_EQ(odd["result"], Parse(R"(["", ""])"));
    EXPECT_EQ(odd["type"], "PC");
    EXPECT_EQ(odd["vendor_id"], "");
    EXPECT_EQ(DescribeDetection(Json::nullValue), nothing);
}

}  // namespace
}  // namespace srcwatch
