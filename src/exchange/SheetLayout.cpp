#include "exchange/SheetLayout.h"

#include <array>

using namespace Qt::StringLiterals;

namespace {

SheetColumn checked(const QString& heading, int limit, const QString& what,
                    const QString& longWhat = {})
{
    const QString tooLong = longWhat.isEmpty() ? what : longWhat;
    return {heading, limit, true, what + u"不能为空!"_s,
            tooLong + u"不能大于%1个字符!"_s.arg(limit)};
}

SheetColumn optional(const QString& heading, int limit = 0, const QString& what = {})
{
    return {heading,
            limit,
            false,
            {},
            limit > 0 ? what + u"不能大于%1个字符!"_s.arg(limit) : QString()};
}

std::array<SheetLayout, 6> makeLayouts()
{
    return {{
        {SheetKind::Knowledge,
         u"知识库"_s,
         u"知识库第"_s,
         Table::Knowledge,
         Table::Goods,
         {checked(u"标题"_s, 50, u"标题"_s), checked(u"描述"_s, 1000, u"描述"_s),
          checked(u"小类"_s, 30, u"小类名称"_s), checked(u"大类"_s, 20, u"大类名称"_s)}},
        // The third column is ours: the address that the affair's view opens.
        {SheetKind::Affairs,
         u"公司事务"_s,
         u"公司事务第"_s,
         Table::Type,
         Table::Type,
         {checked(u"标题"_s, 50, u"标题"_s), checked(u"描述"_s, 2000, u"描述"_s),
          optional(u"网址"_s, 200, u"网址"_s)}},
        {SheetKind::Couriers,
         u"快递"_s,
         u"快递第"_s,
         Table::Type,
         Table::Type,
         {checked(u"快递名称"_s, 20, u"快递名称"_s), checked(u"网址"_s, 200, u"网址"_s)}},
        {SheetKind::Phrases,
         u"简洁"_s,
         u"简洁第"_s,
         Table::Simple,
         Table::SimpleType,
         {checked(u"内容"_s, 150, u"内容"_s, u"简洁内容"_s),
          checked(u"分类"_s, 20, u"分类名称"_s)}},
        // The third column is the tool's description; the fifth (ours) its kind.
        {SheetKind::Tools,
         u"工具"_s,
         u"工具第"_s,
         Table::Tools,
         Table::ToolsType,
         {checked(u"工具名称"_s, 30, u"工具名称"_s), checked(u"工具路径"_s, 250, u"工具路径"_s),
          optional(u"描述"_s), checked(u"分类"_s, 20, u"分类名称"_s), optional(u"类型"_s)}},
        {SheetKind::Private,
         u"私人知识库"_s,
         u"私人知识库第"_s,
         Table::Personal,
         Table::PersonalType,
         {checked(u"标题"_s, 50, u"标题"_s), checked(u"内容"_s, 1000, u"内容"_s),
          checked(u"分类"_s, 20, u"分类名称"_s)}},
    }};
}

} // namespace

namespace SheetLayouts {

const SheetLayout& of(SheetKind kind)
{
    static const std::array<SheetLayout, 6> layouts = makeLayouts();
    return layouts[static_cast<size_t>(kind)];
}

QList<SheetKind> kinds(ExchangeScope scope)
{
    if (scope == ExchangeScope::Private)
        return {SheetKind::Tools, SheetKind::Private};
    return {SheetKind::Knowledge, SheetKind::Affairs, SheetKind::Couriers,
            SheetKind::Phrases,   SheetKind::Tools,   SheetKind::Private};
}

} // namespace SheetLayouts
