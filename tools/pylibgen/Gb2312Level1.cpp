#include "Gb2312Level1.h"

namespace {

struct Block {
    int firstCode;
    char letter;
};

// No reading begins with i, u or v, so those letters have no block.
constexpr Block kBlocks[] = {
    {0xB0A1, 'a'}, {0xB0C5, 'b'}, {0xB2C1, 'c'}, {0xB4EE, 'd'}, {0xB6EA, 'e'}, {0xB7A2, 'f'},
    {0xB8C1, 'g'}, {0xB9FE, 'h'}, {0xBBF7, 'j'}, {0xBFA6, 'k'}, {0xC0AC, 'l'}, {0xC2E8, 'm'},
    {0xC4C3, 'n'}, {0xC5B6, 'o'}, {0xC5BE, 'p'}, {0xC6DA, 'q'}, {0xC8BB, 'r'}, {0xC8F6, 's'},
    {0xCBFA, 't'}, {0xCDDA, 'w'}, {0xCEF4, 'x'}, {0xD1B9, 'y'}, {0xD4D1, 'z'}};
constexpr int kLastCode = 0xD7F9;

} // namespace

char gb2312Level1Initial(int lead, int trail)
{
    // GBK fills trail bytes below A1 with characters GB2312 does not have.
    const int code = lead << 8 | trail;
    if (trail < 0xA1 || trail > 0xFE || code < kBlocks[0].firstCode || code > kLastCode)
        return 0;
    char letter = 0;
    for (const Block& block : kBlocks) {
        if (code >= block.firstCode)
            letter = block.letter;
    }
    return letter;
}
