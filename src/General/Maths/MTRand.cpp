// MT19937 seeding, block generation and state buffers, as published by its authors.
#include "General/Maths/MTRand.h"

#include "General/Platform/Time.h"

#include <cstring>

TMTRand &TMTRand::operator=(const TMTRand &other) {
    std::memcpy(m_State, other.m_State, sizeof m_State);
    m_Left = other.m_Left;
    // The cursor points into the copied state, never into the source object.
    m_Next = m_State + (StateSize - m_Left);
    return *this;
}

void TMTRand::SaveState(uint32_t *buffer) {
    buffer[0] = StateTag;
    std::memcpy(buffer + 1, m_State, sizeof m_State);
    buffer[StateSize + 1] = uint32_t(m_Left);
    buffer[StateSize + 2] = StateTag;
}

void TMTRand::LoadState(const uint32_t *buffer) {
    std::memcpy(m_State, buffer + 1, sizeof m_State);
    uint32_t left = buffer[StateSize + 1];
    // A count beyond the block would point the cursor outside the state.
    if (left > uint32_t(StateSize))
        left = StateSize;
    m_Left = int(left);
    m_Next = m_State + (StateSize - m_Left);
}

void TMTRand::Initialise(uint32_t seed) {
    m_State[0] = seed;
    for (int i = 1; i < StateSize; ++i)
        m_State[i] = 1812433253u * (m_State[i - 1] ^ (m_State[i - 1] >> 30)) + uint32_t(i);
}

void TMTRand::MersenneTwister() {
    uint32_t *p = m_State;
    int i = StateSize - Period;
    for (; i--; ++p)
        *p = twist(p[Period], p[0], p[1]);
    for (i = Period; --i; ++p)
        *p = twist(p[Period - StateSize], p[0], p[1]);
    *p = twist(p[Period - StateSize], p[0], m_State[0]);
    m_Left = StateSize;
    m_Next = m_State;
}

void TMTRand::SetSeed(uint32_t seed) {
    Initialise(seed);
    MersenneTwister();
}

void TMTRand::SetSeed(const uint32_t *key, uint32_t length) {
    Initialise(19650218u);
    int i = 1;
    uint32_t j = 0;
    for (uint32_t k = uint32_t(StateSize) > length ? uint32_t(StateSize) : length; k; --k) {
        // An empty key adds nothing but the index, as a key of one zero word would.
        const uint32_t keyWord = length != 0 ? key[j] : 0u;
        m_State[i] =
            (m_State[i] ^ ((m_State[i - 1] ^ (m_State[i - 1] >> 30)) * 1664525u)) + keyWord + j;
        ++i;
        ++j;
        if (i >= StateSize) {
            m_State[0] = m_State[StateSize - 1];
            i = 1;
        }
        if (j >= length)
            j = 0;
    }
    for (int k = StateSize - 1; k; --k) {
        m_State[i] =
            (m_State[i] ^ ((m_State[i - 1] ^ (m_State[i - 1] >> 30)) * 1566083941u)) - uint32_t(i);
        ++i;
        if (i >= StateSize) {
            m_State[0] = m_State[StateSize - 1];
            i = 1;
        }
    }
    m_State[0] = 0x80000000u;
    MersenneTwister();
}

void TMTRand::SetRandomSeed() {
    const uint32_t now = uint32_t(GetGlobalTime().GetTime().GetValue());
    SetSeed(now % uint32_t(Period));
}
