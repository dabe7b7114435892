#include "content/KindDescriptor.h"

#include "data/Columns.h"
#include "data/TreeSection.h"

#include <array>

using namespace Qt::StringLiterals;

namespace {

FieldDef nameLine(const QString& control, const QString& label, const QString& missing,
                  int maxLength)
{
    FieldDef f;
    f.column = Column::Name;
    f.control = control;
    f.label = label;
    f.missing = missing;
    f.maxLength = maxLength;
    f.filter = FilterUse::Contains;
    return f;
}

FieldDef textBox(const QString& column, const QString& control, const QString& label,
                 const QString& missing = {})
{
    FieldDef f;
    f.type = FieldType::Text;
    f.column = column;
    f.control = control;
    f.label = label;
    f.missing = missing;
    f.trim = false;
    return f;
}

FieldDef picker(const QString& column, const QString& control, const QString& label,
                const QString& missing, Table source, const QString& prompt,
                const QString& nameColumn, FilterUse filter = FilterUse::Equals)
{
    FieldDef f;
    f.type = FieldType::Category;
    f.column = column;
    f.control = control;
    f.label = label;
    f.missing = missing;
    f.source = source;
    f.prompt = prompt;
    f.nameColumn = nameColumn;
    f.filter = filter;
    return f;
}

FieldDef bigCategoryPicker()
{
    FieldDef f = picker(Column::TypeId, u"cbGoodsType"_s, u"大类："_s, u"请选择大类!"_s,
                        Table::Type, u"请选择大类"_s, Column::TypeName);
    f.sourceItemId = sectionId(TreeSection::Product);
    return f;
}

FieldDef categoryPicker(Table source, FilterUse filter, const QString& label = u"分类："_s)
{
    return picker(Column::TypeId, u"cbType"_s, label, u"请选择分类!"_s, source, u"请选择分类"_s,
                  Column::TypeName, filter);
}

FieldDef check(const QString& column, const QString& control, const QString& label)
{
    FieldDef f;
    f.type = FieldType::Check;
    f.column = column;
    f.control = control;
    f.label = label;
    f.filter = FilterUse::WhenTicked;
    return f;
}

FieldDef picture()
{
    FieldDef f;
    f.type = FieldType::Picture;
    f.column = Column::Pic;
    f.control = u"imgPhoto"_s;
    f.label = u"图片："_s;
    return f;
}

ListColumn col(const QString& caption, const QString& column, CellFormat format = CellFormat::Plain)
{
    return {caption, column, format};
}

QList<CopyButton> titleDescriptionCopies(const QString& bothMessage)
{
    return {{u"btnCopyCaption"_s, u"复制标题"_s, {Column::Name}, u"标题复制成功!"_s},
            {u"btnCopyDescribe"_s, u"复制描述"_s, {Column::Description}, u"描述复制成功!"_s},
            {u"btnCopyCaptionDescribe"_s,
             u"复制标题和描述"_s,
             {Column::Name, Column::Description},
             bothMessage}};
}

const QString CascadeBreak = u"\r\n"_s;

DeleteTexts entryDelete()
{
    return {u"请选择要删除的记录!"_s, {}, u"您确认要删除此条记录吗?"_s, {}};
}

DeleteTexts categoryDelete()
{
    return {u"请选择要删除的分类!"_s, u"请先删除此分类下所有的记录!"_s, u"您确认要删除此分类吗?"_s,
            u"此分类下的所有的记录将被"_s + CascadeBreak + u"一起删除,您确定要删除此分类吗?"_s};
}

KindDescriptor category(ContentKind kind, Table table, ContentKind child, const QString& stem,
                        const QString& captionStem)
{
    KindDescriptor d;
    d.kind = kind;
    d.table = table;
    d.stem = stem;
    d.captionStem = captionStem;
    d.listCaption = captionStem + u"管理"_s;
    d.fields = {nameLine(u"txtName"_s, u"名称："_s, u"请输入名称!"_s, 20)};
    d.duplicate = u"此名称已经存在!"_s;
    d.columns = {col(u"编号"_s, Column::Id), col(u"名称"_s, Column::Name)};
    d.selectToEdit = u"请选择要编辑的分类!"_s;
    d.deleting = categoryDelete();
    d.children = child;
    return d;
}

KindDescriptor bigCategory()
{
    KindDescriptor d;
    d.kind = ContentKind::BigCategory;
    d.table = Table::Type;
    d.fixedValues = {{Column::ItemId, sectionId(TreeSection::Product)}};
    d.stem = u"GoodsType"_s;
    d.captionStem = u"大类"_s;
    d.listCaption = u"大类管理"_s;
    d.fields = {nameLine(u"txtName"_s, u"名称："_s, u"请输入名称!"_s, 20)};
    d.duplicate = u"此名称已经存在!"_s;
    d.columns = {col(u"编号"_s, Column::Id), col(u"名称"_s, Column::Name)};
    d.selectToEdit = u"请选择要编辑的大类!"_s;
    d.deleting = {
        u"请选择要删除的大类!"_s, u"请先删除此大类下所有的小类!"_s, u"您确认要删除此大类吗?"_s,
        u"此大类下的所有的小类包括记录将被"_s + CascadeBreak + u"一起删除,您确定要删除此大类吗?"_s};
    d.deletingFromMenu = DeleteTexts{
        u"请选择要删除的大类!"_s, u"请先删除此大类下所有小类!"_s, u"您确认要删除此大类吗?"_s,
        u"此大类下的所有小类包括知识将被"_s + CascadeBreak + u"一起删除,您确定要删除此大类吗?"_s};
    d.children = ContentKind::SmallCategory;
    return d;
}

KindDescriptor smallCategory()
{
    KindDescriptor d;
    d.kind = ContentKind::SmallCategory;
    d.table = Table::Goods;
    d.stem = u"Goods"_s;
    d.captionStem = u"小类"_s;
    d.listCaption = u"小类管理"_s;
    d.fields = {bigCategoryPicker(), nameLine(u"txtName"_s, u"名称："_s, u"请输入名称!"_s, 30)};
    d.duplicate = u"此名称已经存在!"_s;
    d.columns = {col(u"编号"_s, Column::Id), col(u"名称"_s, Column::Name),
                 col(u"大类"_s, Column::TypeName)};
    d.buttons.query = u"btnGoodsQuery"_s;
    d.selectToEdit = u"请选择要编辑的小类!"_s;
    d.deleting = {u"请选择要删除的小类!"_s, u"请先删除此小类下的所有记录!"_s,
                  u"您确认要删除此小类吗?"_s,
                  u"此小类下的所有记录将被一起删除,"_s + CascadeBreak + u"您确定要删除此小类吗?"_s};
    d.children = ContentKind::Knowledge;
    return d;
}

KindDescriptor knowledge()
{
    KindDescriptor d;
    d.kind = ContentKind::Knowledge;
    d.table = Table::Knowledge;
    d.stem = u"Knowledge"_s;
    d.captionStem = u"知识库"_s;
    d.listCaption = u"知识管理"_s;
    FieldDef goods = picker(Column::GoodsId, u"cbGoods"_s, u"小类："_s, u"请选择小类!"_s,
                            Table::Goods, u"请选择小类"_s, Column::GoodsName);
    goods.parentColumn = Column::TypeId;
    d.fields = {bigCategoryPicker(),
                goods,
                nameLine(u"txtCaption"_s, u"标题："_s, u"请输入标题!"_s, 50),
                textBox(Column::Description, u"txtDescribe"_s, u"描述："_s, u"请输入描述!"_s),
                check(Column::CommonFlag, u"chkCommon"_s, u"常用"_s),
                picture()};
    d.duplicate = u"此标题已经存在!"_s;
    d.columns = {col(u"编号"_s, Column::Id),
                 col(u"标题"_s, Column::Name),
                 col(u"描述"_s, Column::Description),
                 col(u"所属大类"_s, Column::TypeName),
                 col(u"所属小类"_s, Column::GoodsName),
                 col(u"常用"_s, Column::CommonFlag, CellFormat::CommonMark)};
    d.selectToEdit = u"请选择要编辑的记录!"_s;
    d.deleting = entryDelete();
    d.liveFilter = true;
    d.copies = titleDescriptionCopies(u"复制标题和描述复制成功!"_s);
    d.copies.append({u"btnCopyPic"_s, u"复制图片"_s, {}, u"图片复制成功!"_s, true});
    d.extra = ListExtra::ExportPictures;
    d.exporting = {u"没有要生成的图片！"_s, u"已生成%1张图片!"_s, u" (目录"_s};
    d.searchKind = SearchKind::Knowledge;
    return d;
}

KindDescriptor affair()
{
    KindDescriptor d;
    d.kind = ContentKind::Affair;
    d.table = Table::Type;
    d.fixedValues = {{Column::ItemId, sectionId(TreeSection::Affairs)}};
    d.stem = u"Affairs"_s;
    d.captionStem = u"公司事务"_s;
    d.listCaption = u"公司事务管理"_s;
    FieldDef url;
    url.column = Column::Url;
    url.control = u"txtUrl"_s;
    url.label = u"网址："_s;
    url.missing = u"启用网址后，网址不能为空!"_s;
    url.requiredWith = Column::Flag;
    url.maxLength = 200;
    url.filter = FilterUse::Contains;
    d.fields = {nameLine(u"txtCaption"_s, u"标题："_s, u"请输入标题!"_s, 50),
                textBox(Column::Description, u"txtDescribe"_s, u"描述："_s, u"请输入描述!"_s),
                check(Column::Flag, u"chkUseUrl"_s, u"启用网址"_s), url};
    d.duplicate = u"此标题已经存在!"_s;
    d.columns = {col(u"编号"_s, Column::Id), col(u"标题"_s, Column::Name),
                 col(u"描述"_s, Column::Description),
                 col(u"启用网址"_s, Column::Flag, CellFormat::UrlEnabled),
                 col(u"网址"_s, Column::Url)};
    d.buttons.add = u"btnAffairsAdd"_s;
    d.buttons.edit = u"btnAffairsEdit"_s;
    d.selectToEdit = u"请选择要编辑的记录!"_s;
    d.deleting = entryDelete();
    d.liveFilter = true;
    d.copies = titleDescriptionCopies(u"标题和描述复制成功!"_s);
    d.copies.append({u"btnCopyUrl"_s, u"复制网址"_s, {Column::Url}, u"网址复制成功!"_s});
    d.searchKind = SearchKind::Affair;
    return d;
}

KindDescriptor courier()
{
    KindDescriptor d;
    d.kind = ContentKind::Courier;
    d.table = Table::Type;
    d.fixedValues = {{Column::ItemId, sectionId(TreeSection::Couriers)}, {Column::Flag, 1}};
    d.stem = u"Express"_s;
    d.captionStem = u"快递"_s;
    d.listCaption = u"快递管理"_s;
    FieldDef url;
    url.column = Column::Url;
    url.control = u"txtUrl"_s;
    url.label = u"网址："_s;
    url.missing = u"请输入网址!"_s;
    url.missingOnEdit = u"网址不能为空!"_s;
    url.maxLength = 200;
    d.fields = {nameLine(u"txtName"_s, u"名称："_s, u"请输入名称!"_s, 20), url};
    d.duplicate = u"此名称已经存在!"_s;
    d.columns = {col(u"编号"_s, Column::Id), col(u"名称"_s, Column::Name),
                 col(u"网址"_s, Column::Url)};
    d.selectToEdit = u"请选择要编辑的记录!"_s;
    d.deleting = entryDelete();
    d.copies = {{u"btnCopyExpressName"_s, u"复制名称"_s, {Column::Name}, u"名称复制成功!"_s},
                {u"btnCopyExpressUrl"_s, u"复制网址"_s, {Column::Url}, u"网址复制成功!"_s},
                {u"btnCopyNameUrl"_s,
                 u"复制名称和网址"_s,
                 {Column::Name, Column::Url},
                 u"名称和网址复制成功!"_s}};
    d.searchKind = SearchKind::Courier;
    return d;
}

KindDescriptor simple()
{
    KindDescriptor d;
    d.kind = ContentKind::Simple;
    d.table = Table::Simple;
    d.stem = u"Simple"_s;
    d.captionStem = u"简洁"_s;
    d.listCaption = u"简洁管理"_s;
    FieldDef content = nameLine(u"txtContent"_s, u"内容："_s, u"请输入内容!"_s, 150);
    content.missingInNew = u"内容不能为空!"_s;
    d.fields = {content, categoryPicker(Table::SimpleType, FilterUse::None)};
    d.duplicate = u"此内容已经存在!"_s;
    d.columns = {col(u"编号"_s, Column::Id), col(u"内容"_s, Column::Name),
                 col(u"分类"_s, Column::TypeName)};
    d.selectToEdit = u"请选择要编辑的记录!"_s;
    d.deleting = entryDelete();
    d.copies = {{u"btnCopy"_s, u"复制"_s, {Column::Name}, u"复制成功!"_s}};
    d.searchKind = SearchKind::Simple;
    return d;
}

KindDescriptor tools()
{
    KindDescriptor d;
    d.kind = ContentKind::Tools;
    d.table = Table::Tools;
    d.stem = u"Tools"_s;
    d.captionStem = u"工具"_s;
    d.listCaption = u"工具管理"_s;
    FieldDef name = nameLine(u"txtName"_s, u"名称："_s, u"请输入名称!"_s, 30);
    name.missingInNew = u"名称不能为空!"_s;
    FieldDef path;
    path.type = FieldType::ToolPath;
    path.column = Column::Path;
    path.control = u"txtPath"_s;
    path.label = u"路径："_s;
    path.missing = u"请输入工具或者文件的路径!"_s;
    path.refuseOver = 250;
    path.tooLong = u"路径不能超过250个字符!"_s;
    path.extNameSetting = Setting::ToolsTitleExtName;
    FieldDef kind;
    kind.type = FieldType::ToolKind;
    kind.column = Column::Type;
    kind.control = u"cbToolKind"_s;
    kind.label = u"类型："_s;
    d.fields = {name, path, kind, textBox(Column::ToolDesc, u"txtDesc"_s, u"描述："_s),
                categoryPicker(Table::ToolsType, FilterUse::None)};
    d.duplicate = u"名称已经存在!"_s;
    d.columns = {
        col(u"编号"_s, Column::Id),       col(u"名称"_s, Column::Name),
        col(u"路径"_s, Column::Path),     col(u"类型"_s, Column::Type, CellFormat::ToolKind),
        col(u"描述"_s, Column::ToolDesc), col(u"分类"_s, Column::TypeName)};
    d.selectToEdit = u"请选择要编辑的记录!"_s;
    d.deleting = entryDelete();
    d.copies = {
        {u"btnCopy"_s, u"复制"_s, {Column::Name, Column::Path, Column::ToolDesc}, u"复制成功!"_s}};
    d.extra = ListExtra::OpenPath;
    d.searchKind = SearchKind::Tool;
    return d;
}

KindDescriptor file()
{
    KindDescriptor d;
    d.kind = ContentKind::File;
    d.table = Table::File;
    d.stem = u"File"_s;
    d.captionStem = u"文件"_s;
    d.listCaption = u"文件管理"_s;
    FieldDef bytes;
    bytes.type = FieldType::File;
    bytes.column = Column::File;
    bytes.control = u"lblFile"_s;
    bytes.label = u"文件："_s;
    bytes.missing = u"请选择文件!"_s;
    bytes.extNameSetting = Setting::FileTitleExtName;
    FieldDef description = textBox(Column::FileDesc, u"txtDesc"_s, u"描述："_s);
    description.whenEmpty = u"无"_s;
    d.fields = {nameLine(u"txtName"_s, u"名称："_s, u"请输入名称!"_s, 0), bytes, description,
                categoryPicker(Table::FileType, FilterUse::None)};
    d.duplicate = u"名称已经存在!"_s;
    d.columns = {col(u"编号"_s, Column::Id), col(u"名称"_s, Column::Name),
                 col(u"描述"_s, Column::FileDesc), col(u"分类"_s, Column::TypeName),
                 col(u"类型"_s, Column::ExtName)};
    d.selectToEdit = u"请选择要编辑的记录!"_s;
    d.deleting = entryDelete();
    d.copies = {{u"btnCopy"_s, u"复制"_s, {Column::Name, Column::FileDesc}, u"复制成功!"_s}};
    d.extra = ListExtra::ExportFiles;
    d.exporting = {u"没有要导出的文件！"_s, u"已导出%1个文件!"_s, u"(目录"_s};
    d.searchKind = SearchKind::File;
    return d;
}

KindDescriptor personal()
{
    KindDescriptor d;
    d.kind = ContentKind::Personal;
    d.table = Table::Personal;
    d.stem = u"Personal"_s;
    d.captionStem = u"私人知识"_s;
    d.listCaption = u"私人知识管理"_s;
    d.fields = {categoryPicker(Table::PersonalType, FilterUse::Equals),
                nameLine(u"txtCaption"_s, u"标题："_s, u"请输入标题!"_s, 50),
                textBox(Column::Description, u"txtDescribe"_s, u"描述："_s, u"请输入描述!"_s),
                picture()};
    d.duplicate = u"此标题已经存在!"_s;
    d.columns = {col(u"编号"_s, Column::Id), col(u"标题"_s, Column::Name),
                 col(u"描述"_s, Column::Description), col(u"所属分类"_s, Column::TypeName)};
    d.selectToEdit = u"请选择要编辑的记录!"_s;
    d.deleting = entryDelete();
    d.liveFilter = true;
    d.copies = titleDescriptionCopies(u"复制标题和描述复制成功!"_s);
    d.copies.append({u"btnCopyPic"_s, u"复制图片"_s, {}, u"图片复制成功!"_s, true});
    d.extra = ListExtra::ExportPictures;
    d.exporting = {u"没有要生成的图片！"_s, u"已生成%1张图片!"_s, u"(目录"_s};
    d.searchKind = SearchKind::Personal;
    return d;
}

const std::array<KindDescriptor, ContentKindCount>& table()
{
    static const std::array<KindDescriptor, ContentKindCount> all = {
        bigCategory(),
        smallCategory(),
        knowledge(),
        affair(),
        courier(),
        category(ContentKind::SimpleType, Table::SimpleType, ContentKind::Simple, u"SimpleType"_s,
                 u"简洁分类"_s),
        simple(),
        category(ContentKind::FileType, Table::FileType, ContentKind::File, u"FileType"_s,
                 u"文件分类"_s),
        file(),
        category(ContentKind::ToolsType, Table::ToolsType, ContentKind::Tools, u"ToolsType"_s,
                 u"工具分类"_s),
        tools(),
        category(ContentKind::PersonalType, Table::PersonalType, ContentKind::Personal,
                 u"PersonalType"_s, u"私人分类"_s),
        personal(),
    };
    return all;
}

} // namespace

const FieldDef* KindDescriptor::field(const QString& column) const
{
    for (const FieldDef& f : fields) {
        if (f.column == column)
            return &f;
    }
    return nullptr;
}

const FieldDef* KindDescriptor::fieldOfType(FieldType type) const
{
    for (const FieldDef& f : fields) {
        if (f.type == type)
            return &f;
    }
    return nullptr;
}

const FieldDef& KindDescriptor::nameField() const
{
    // Every kind has a name; the table above gives each one.
    return *field(Column::Name);
}

Where KindDescriptor::scope() const
{
    if (table == Table::Type)
        return {{Column::ItemId, fixedValues.value(Column::ItemId)}};
    return {};
}

QString KindDescriptor::newCaption() const
{
    return captionStem + u"-新增"_s;
}

QString KindDescriptor::editCaption(bool fromQueryBar) const
{
    return captionStem + (fromQueryBar ? u"-底部查询-编辑"_s : u"-编辑"_s);
}

QString KindDescriptor::viewCaption() const
{
    return captionStem + u"-查看"_s;
}

namespace Kinds {

const KindDescriptor& descriptor(ContentKind kind)
{
    return table()[static_cast<size_t>(kind)];
}

QList<ContentKind> all()
{
    QList<ContentKind> out;
    for (const KindDescriptor& d : table())
        out << d.kind;
    return out;
}

std::optional<ContentKind> forSearchKind(SearchKind kind)
{
    for (const KindDescriptor& d : table()) {
        if (d.searchKind == kind)
            return d.kind;
    }
    return std::nullopt;
}

QString pictureDialogTitle()
{
    return u"打开"_s;
}

QString pictureFilter()
{
    return u"图片文件(*.jpg;*.jpeg)|*.jpg;*.jpeg"_s +
           u"|图片文件(*.gif;*.bmp;*.png)|*.gif;*.bmp;*.png"_s;
}

QString fileDialogTitle()
{
    return u"选择文件"_s;
}

QString fileFilter()
{
    return u"所有文件(*.*)|*.*"_s + u"|Word文件(*.docx;*.doc)|*.docx;*.doc"_s +
           u"|Excel文件(*.xlsx;*.xls)|*.xlsx;*.xls"_s + u"|PPT文件(*.pptx;*.ppt)|*.pptx;*.ppt"_s +
           u"|CAD文件(*.dwg;*.dxf)|*.dwg;*.dxf"_s + u"|图片文件(*.jpg;*.jpeg)|*.jpg;*.jpeg"_s +
           u"|图片文件(*.gif;*.bmp;*.png)|*.gif;*.bmp;*.png"_s + u"|文本文件(*.txt)|*.txt"_s +
           u"|可执行文件(*.exe)|*.exe"_s;
}

QString toolDialogTitle()
{
    return u"选择工具"_s;
}

QString toolFilter()
{
    return u"可执行文件(*.exe)|*.exe"_s + u"|VBS文件(*.vbs)|*.vbs"_s + u"|bat文件(*.bat)|*.bat"_s +
           u"|reg文件(*.reg)|*.reg"_s + u"|所有文件(*.*)|*.*"_s;
}

} // namespace Kinds
