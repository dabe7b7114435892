#pragma once

#include <QLatin1StringView>

// The column names of the stores, as constants: a misspelt column does not compile. The table
// descriptions in Tables.cpp are written with them, so a constant is a column of some table.
namespace Column {
inline constexpr QLatin1StringView Id{"id"};
inline constexpr QLatin1StringView Name{"name"};
inline constexpr QLatin1StringView Description{"description"};
inline constexpr QLatin1StringView Flag{"flag"};
inline constexpr QLatin1StringView Url{"url"};
inline constexpr QLatin1StringView PyCode{"pycode"};
inline constexpr QLatin1StringView ItemId{"itemid"};
inline constexpr QLatin1StringView UserName{"username"};
inline constexpr QLatin1StringView SerialNum{"serialnum"};
inline constexpr QLatin1StringView UseTime{"usetime"};
inline constexpr QLatin1StringView TypeId{"typeid"};
inline constexpr QLatin1StringView GoodsId{"goodsid"};
inline constexpr QLatin1StringView Pic{"pic"};
inline constexpr QLatin1StringView ExtName{"extname"};
inline constexpr QLatin1StringView CommonFlag{"commonflag"};
inline constexpr QLatin1StringView BigSerialNum{"bigserialnum"};
inline constexpr QLatin1StringView LittleSerialNum{"littleserialnum"};
inline constexpr QLatin1StringView CommonSerialNum{"commonserialnum"};
inline constexpr QLatin1StringView TypeSerialNum{"typeserialnum"};
inline constexpr QLatin1StringView File{"file"};
inline constexpr QLatin1StringView FileDesc{"filedesc"};
inline constexpr QLatin1StringView UserPw{"userpw"};
inline constexpr QLatin1StringView DefaultUser{"defaultuser"};
inline constexpr QLatin1StringView Grade{"grade"};
inline constexpr QLatin1StringView Path{"path"};
inline constexpr QLatin1StringView ToolDesc{"tooldesc"};
inline constexpr QLatin1StringView Type{"type"};

// Columns the views add: the category names. SQLite matches names in any letter case.
inline constexpr QLatin1StringView TypeName{"typename"};
inline constexpr QLatin1StringView GoodsName{"goodsname"};
// Store::Query with blobPresence: whether the row stores a picture or file.
inline constexpr QLatin1StringView HasBlob{"hasblob"};
} // namespace Column
