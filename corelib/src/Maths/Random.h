// Pseudo-random numbers from the MT19937 Mersenne twister (period 2^19937 - 1,
// 32-bit output): seeding from one word or from an array of words, saving and
// restoring the full state, copying, and normally distributed values.
// Threading: not synchronised; each drawing thread needs its own instance or
// the caller's lock.
#ifndef CORELIB_MATHS_RANDOM_H
#define CORELIB_MATHS_RANDOM_H

namespace Core
{

class Random
{
public:
    static const int N = 624;     // words of state
    static const int M = 397;     // offset of the word mixed in by the twist
    static const int SAVE = N + 1; // words written by Save: the state, then the count left

    // Seeded with Seed(seed).
    explicit Random(unsigned int seed);
    // Seeded with Seed(key, length). Borrows key for the call only.
    Random(unsigned int* key, unsigned int length);
    // Unseeded: the state holds whatever the memory held. Requires: Seed or
    // Load before the first draw.
    Random();

    // Copies continue the source's sequence from the same point, independently of it.
    Random(const Random& other);
    // Assignment copies the same way.
    Random& operator=(const Random& other);

    // Fills the state from one seed without twisting it; a draw before the
    // next Reload returns words of the previous block.
    void Initialize(unsigned int seed);
    // Regenerates all N words (the twist) and restarts at the first.
    void Reload();
    // Initialize(seed) then Reload().
    void Seed(unsigned int seed);
    // The reference array initialisation, then Reload(). Requires: key holds
    // length words. A length of 0 or less skips the key (key is not read).
    // Borrows key for the call only.
    void Seed(unsigned int* key, int length);

    // Writes the N state words and the count of words left to out[0 .. SAVE-1].
    void Save(unsigned int* out) const;
    // Restores a state written by Save from in[0 .. SAVE-1]. A count in[N]
    // outside 0 .. N is taken as 0: the next draw reloads.
    void Load(unsigned int* in);

    // The next 32-bit output.
    unsigned int RandInt()
    {
        if (m_left == 0)
            Reload();
        --m_left;
        unsigned int y = *m_next++;
        // Tempering: spreads the state word's bits over the output.
        y ^= y >> 11;
        y ^= (y << 7) & 0x9d2c5680u;
        y ^= (y << 15) & 0xefc60000u;
        return y ^ (y >> 18);
    }

    // A real in [0, 1], both ends possible: RandInt() / (2^32 - 1).
    double Rand() { return RandInt() * (1.0 / 4294967295.0); }

    // A normally distributed value by the polar method (one value of each
    // accepted pair is used; nothing is cached between calls).
    double RandNorm(double mean, double stddev);

private:
    unsigned int m_state[N];
    unsigned int* m_next; // next word to temper and return
    int m_left;           // words still available before the next Reload
};

} // namespace Core

#endif
