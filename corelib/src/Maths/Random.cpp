#include "Maths/Random.h"

#include <cmath>
#include <cstring>

namespace Core
{

const int Random::N;
const int Random::M;
const int Random::SAVE;

namespace
{
// One step of the twist: the high bit of s0 and the low 31 bits of s1, shifted
// and mixed with m, with the matrix constant when s1 is odd.
inline unsigned int Twist(unsigned int m, unsigned int s0, unsigned int s1)
{
    return m ^ (((s0 & 0x80000000u) | (s1 & 0x7fffffffu)) >> 1) ^ ((s1 & 1u) ? 0x9908b0dfu : 0u);
}
} // namespace

Random::Random(unsigned int seed)
{
    Seed(seed);
}

Random::Random(unsigned int* key, unsigned int length)
{
    Seed(key, static_cast<int>(length));
}

Random::Random() : m_next(m_state), m_left(0)
{
}

Random::Random(const Random& other)
{
    *this = other;
}

Random& Random::operator=(const Random& other)
{
    if (this == &other)
        return *this;
    std::memcpy(m_state, other.m_state, sizeof(m_state));
    m_left = other.m_left;
    // The position is rebuilt from the count: a copied pointer would point into the source.
    m_next = m_state + (N - m_left);
    return *this;
}

void Random::Initialize(unsigned int seed)
{
    m_state[0] = seed;
    for (int i = 1; i < N; ++i)
        m_state[i] = 1812433253u * (m_state[i - 1] ^ (m_state[i - 1] >> 30)) + static_cast<unsigned int>(i);
}

void Random::Reload()
{
    int i = 0;
    for (; i < N - M; ++i)
        m_state[i] = Twist(m_state[i + M], m_state[i], m_state[i + 1]);
    for (; i < N - 1; ++i)
        m_state[i] = Twist(m_state[i + M - N], m_state[i], m_state[i + 1]);
    m_state[N - 1] = Twist(m_state[M - 1], m_state[N - 1], m_state[0]);
    m_left = N;
    m_next = m_state;
}

void Random::Seed(unsigned int seed)
{
    Initialize(seed);
    Reload();
}

void Random::Seed(unsigned int* key, int length)
{
    Initialize(19650218u);
    int i = 1;
    int j = 0;
    // An empty key mixes nothing in, rather than reading a word that is not there.
    const int keyRounds = length > 0 ? (N > length ? N : length) : 0;
    for (int k = keyRounds; k > 0; --k)
    {
        m_state[i] = (m_state[i] ^ ((m_state[i - 1] ^ (m_state[i - 1] >> 30)) * 1664525u)) + key[j] +
                     static_cast<unsigned int>(j);
        ++i;
        ++j;
        if (i >= N)
        {
            m_state[0] = m_state[N - 1];
            i = 1;
        }
        if (j >= length)
            j = 0;
    }
    for (int k = N - 1; k > 0; --k)
    {
        m_state[i] = (m_state[i] ^ ((m_state[i - 1] ^ (m_state[i - 1] >> 30)) * 1566083941u)) -
                     static_cast<unsigned int>(i);
        ++i;
        if (i >= N)
        {
            m_state[0] = m_state[N - 1];
            i = 1;
        }
    }
    // The most significant bit alone makes the initial state non-zero.
    m_state[0] = 0x80000000u;
    Reload();
}

void Random::Save(unsigned int* out) const
{
    std::memcpy(out, m_state, sizeof(m_state));
    out[N] = static_cast<unsigned int>(m_left);
}

void Random::Load(unsigned int* in)
{
    std::memcpy(m_state, in, sizeof(m_state));
    m_left = static_cast<int>(in[N]);
    // A damaged count must not place the read position outside the state:
    // treat the block as spent, so the next draw twists the loaded words.
    if (m_left < 0 || m_left > N)
        m_left = 0;
    m_next = m_state + (N - m_left);
}

double Random::RandNorm(double mean, double stddev)
{
    double x1;
    double s;
    do
    {
        // Two draws in this order: the first becomes the returned coordinate.
        x1 = 2.0 * Rand() - 1.0;
        const double x2 = 2.0 * Rand() - 1.0;
        s = x1 * x1 + x2 * x2;
    } while (s >= 1.0 || s == 0.0);
    return mean + stddev * x1 * std::sqrt(-2.0 * std::log(s) / s);
}

} // namespace Core
