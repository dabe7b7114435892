#pragma once

#include <QByteArray>
#include <QString>

// The text of a file that may mix UTF-8 with the Chinese code page (GBK), as config.ini does when
// an older version or an editor in the code page has written some of its lines.
namespace MixedText {

// A file that is UTF-8 throughout is read as UTF-8. Otherwise each line is decided on its own,
// so that one line in the other encoding garbles nothing but itself: a line is UTF-8 when more
// of its bytes form well-formed UTF-8 sequences than not and one of them is three bytes or longer
// (Chinese takes three); its stray bytes become U+FFFD. Any other line is GBK: GBK text often
// passes for two-byte UTF-8 letters ("谢谢" reads "лл"), seldom for anything more.
QString decode(QByteArray bytes);

} // namespace MixedText
