#include "Maths/Random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace
{

using Words = std::vector<unsigned int>;

Words Draw(Core::Random& r, int count)
{
    Words out(count);
    std::generate(out.begin(), out.end(), [&] { return r.RandInt(); });
    return out;
}

// The standard library's generator is an independent implementation of the same algorithm.
Words Reference(unsigned int seed, int skip, int count)
{
    std::mt19937 reference(seed);
    reference.discard(skip);
    Words out(count);
    std::generate(out.begin(), out.end(), [&] { return static_cast<unsigned int>(reference()); });
    return out;
}

TEST(RandomTest, SingleSeedsFollowTheReferenceSequenceAcrossReloads)
{
    for (unsigned int seed : {5489u, 0u, 0xFFFFFFFFu})
    {
        Core::Random r(seed);
        EXPECT_EQ(Reference(seed, 0, 2000), Draw(r, 2000)) << seed;
    }
}

TEST(RandomTest, ArraySeedingMatchesThePublishedOutputs)
{
    // The reference implementation's own test output for init_by_array {0x123, 0x234, 0x345, 0x456}:
    // the first three and the 1000th.
    unsigned int key[] = {0x123, 0x234, 0x345, 0x456};
    Core::Random r(key, 4);
    const Words outputs = Draw(r, 1000);
    EXPECT_EQ((Words{1067595299u, 955945823u, 477289528u, 1397735321u, 3460025646u}),
              (Words{outputs[0], outputs[1], outputs[2], outputs[998], outputs[999]}));

    // Python seeds from the 32-bit words of an integer with the same initialisation;
    // a key longer than the state runs the first mixing loop over the whole key:
    // key[i] = i * 2654435761 mod 2^32 for 700 words, seeded in Python as the
    // integer sum(key[i] << 32*i), printing [r.getrandbits(32) for _ in range(4)].
    Words longKey(700);
    for (unsigned int i = 0; i < longKey.size(); ++i)
        longKey[i] = i * 2654435761u;
    r.Seed(longKey.data(), 700);
    EXPECT_EQ((Words{1179226133u, 532799835u, 517808143u, 2867954353u}), Draw(r, 4));

    // An empty key is not read: its pointer is null here, so a read would crash.
    Core::Random a(nullptr, 0), b(nullptr, 0);
    EXPECT_EQ(Draw(a, 700), Draw(b, 700));
}

TEST(RandomTest, SavedStatesAndCopiesContinueTheSequenceAtEveryPositionInABlock)
{
    // Draws made before the save and the words left in the block.
    const struct { int drawn; unsigned int left; } cases[] = {{0, 624}, {623, 1}, {624, 0}, {625, 623}};
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.drawn);
        Core::Random original(2024);
        Draw(original, c.drawn);
        Words saved(Core::Random::SAVE);
        original.Save(saved.data());
        EXPECT_EQ(c.left, saved[Core::Random::N]);
        Core::Random restored, assigned(1);
        restored.Load(saved.data());
        assigned = original;
        Core::Random copy(original);
        // The source runs on through two reloads first: a copy that kept a
        // pointer into the source's state would then read twisted words.
        const Words expected = Reference(2024, c.drawn, 1500);
        EXPECT_EQ(expected, Draw(original, 1500));
        EXPECT_EQ(expected, Draw(copy, 1500));
        EXPECT_EQ(expected, Draw(assigned, 1500));
        EXPECT_EQ(expected, Draw(restored, 1500));
        // A damaged count is taken as a spent block: the words are twisted first.
        if (c.left == 0)
        {
            saved[Core::Random::N] = 5000;
            restored.Load(saved.data());
            EXPECT_EQ(Reference(2024, 624, 700), Draw(restored, 700));
        }
    }
}

TEST(RandomTest, RealDrawReachesBothEnds)
{
    Words state(Core::Random::SAVE, 0u);
    state[Core::Random::N] = Core::Random::N;
    // 0x12dd9bb3 tempers to 0xFFFFFFFF (solved over GF(2) from the tempering
    // shifts and masks); zero tempers to zero.
    state[0] = 0x12dd9bb3u;
    Core::Random r;
    r.Load(state.data());
    EXPECT_EQ(1.0, r.Rand());
    EXPECT_EQ(0.0, r.Rand());
}

} // namespace
