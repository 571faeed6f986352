#include "IO/ObjectStore.h"

#include "Support/ByteStrings.h"

#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

using Core::IO::ObjectStore;
using CoreTest::Bytes;
using CoreTest::Hex;

namespace
{

// A record as an application would write one: scalars, a string and an
// array of nested objects, each element under its own key.
struct Fix
{
    int quality = 0;
    float hdop = 0.0f;
    std::string name;
    std::vector<std::pair<int, double>> satellites;
    double height = 0.0;

    static void ProcessSatellite(ObjectStore& store, std::pair<int, double>& satellite)
    {
        store.ProcessInt(satellite.first, 1);
        store.ProcessDouble(satellite.second, 2);
    }
    void Process(ObjectStore& store)
    {
        store.ProcessInt(quality, 1);
        store.ProcessFloat(hdop, 2);
        store.ProcessString(name, 3);
        unsigned int count = static_cast<unsigned int>(satellites.size());
        store.DeclareArrayBegin(count, 4);
        satellites.resize(count);
        for (unsigned int i = 0; i < count; ++i)
        {
            if (store.IsOutputMode())
            {
                ObjectStore child;
                ProcessSatellite(child, satellites[i]);
                store.OutputObject(child, 10 + i);
            }
            else
            {
                ObjectStore child(store);
                if (store.InputObject(child, 10 + i))
                    ProcessSatellite(child, satellites[i]);
            }
        }
        store.ProcessDouble(height, 1000);
    }
    bool operator==(const Fix& o) const
    {
        return std::tie(quality, hdop, name, satellites, height) ==
               std::tie(o.quality, o.hdop, o.name, o.satellites, o.height);
    }
};

TEST(ObjectStoreTest, FieldsAreTaggedPackedValues)
{
    // Tag = key << 3 | wire type, packed; ints use the buffer's signed mapping.
    // Key 16: tag 128 needs two bytes; 64 maps to 2 * 64 - 1 = 127.
    unsigned int count = 300;
    ObjectStore child;
    child.OutputInt(-1, 1);
    const std::pair<std::function<void(ObjectStore&)>, const char*> cases[] = {
        {[](ObjectStore& s) { s.OutputInt(5, 1); }, "08 09"},
        {[](ObjectStore& s) { s.OutputInt(64, 16); }, "80 01 7F"},
        {[](ObjectStore& s) { s.OutputDouble(1.0, 3); }, "19 3F F0 00 00 00 00 00 00"},
        {[](ObjectStore& s) { s.OutputFloat(1.0f, 1); }, "0B 3F 80 00 00"},
        {[](ObjectStore& s) { s.OutputString("ab", 4); }, "22 02 61 62"},
        {[&](ObjectStore& s) { s.DeclareArrayBegin(count, 5); }, "2C AC 02"},
        {[&](ObjectStore& s) { s.OutputObject(child, 3); }, "1A 02 08 02"},
    };
    for (const auto& c : cases)
    {
        ObjectStore store;
        c.first(store);
        EXPECT_EQ(c.second, Hex(store.AsString()));
    }
}

TEST(ObjectStoreTest, RecordsRoundTripAndEveryTruncationFailsCleanly)
{
    Fix written{-7, 0.75f, std::string("rover\0one", 9), {{3, 41.5}, {17, -0.0}, {INT_MIN, 1e300}}, 123.25};
    ObjectStore out;
    written.Process(out);
    const std::string whole = out.AsString();
    for (std::size_t cut = 0; cut <= whole.size(); ++cut)
    {
        std::string bytes = whole.substr(0, cut);
        ObjectStore in(bytes);
        Fix read;
        read.height = -1.0;
        read.Process(in);
        if (cut == whole.size())
            EXPECT_EQ(written, read);
        else
            EXPECT_EQ(-1.0, read.height) << "the last field is missing when cut at " << cut;
    }
    // A store over borrowed bytes reads the same record.
    std::vector<unsigned char> bytes(whole.begin(), whole.end());
    ObjectStore borrowed(bytes.data(), static_cast<unsigned int>(bytes.size()));
    Fix read;
    read.Process(borrowed);
    EXPECT_EQ(written, read);
}

TEST(ObjectStoreTest, KeysAreFoundOnlyInAscendingOrder)
{
    ObjectStore out;
    out.OutputInt(10, 1);
    out.OutputString("skipped", 2);
    out.OutputDouble(2.5, 3);
    out.OutputFloat(1.5f, 4);
    out.OutputInt(30, 6);
    std::string bytes = out.AsString();

    // Absent keys fail without disturbing the next lookup; unknown smaller
    // keys are skipped whatever their wire type.
    ObjectStore in(bytes);
    int value = -1;
    EXPECT_TRUE(in.InputInt(value, 1) && !in.InputInt(value, 5));
    EXPECT_EQ(10, value) << "a missing key leaves the value";
    EXPECT_TRUE(in.InputInt(value, 6));
    EXPECT_EQ(30, value);
    EXPECT_FALSE(in.InputInt(value, 1)) << "a key already passed is not found";

    ObjectStore strings(bytes);
    std::string text = "kept ";
    EXPECT_TRUE(strings.InputString(text, 2));
    EXPECT_EQ("kept skipped", text) << "InputString appends";
}

TEST(ObjectStoreTest, DamagedLengthsFailWithoutLoopingOrOverreading)
{
    // Key 1 holds a string of 0xFFFFFFFA bytes, which from offset 6 wraps the
    // cursor to offset 0: the search for key 2 must end, and the error sticks.
    std::string wrapping = Bytes({0x0A, 0xFA, 0xFF, 0xFF, 0xFF, 0x0F, 0x10, 0x02});
    ObjectStore in(wrapping);
    int value = 0;
    EXPECT_FALSE(in.InputInt(value, 2) || in.InputInt(value, 3));
}

} // namespace
