#pragma once

// GB2312 level 1 (GBK B0A1..D7F9) is sorted by pinyin, so a character's code tells the initial
// letter of the reading it is filed under. The lower-case letter, or 0 outside level 1.
char gb2312Level1Initial(int lead, int trail);
