#pragma once

#include "data/SearchService.h"
#include "data/SettingsTable.h"
#include "data/Store.h"
#include "data/Tables.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <optional>

// Every kind of material the management windows handle. Categories are kinds of their own.
enum class ContentKind {
    BigCategory,
    SmallCategory,
    Knowledge,
    Affair,
    Courier,
    SimpleType,
    Simple,
    FileType,
    File,
    ToolsType,
    Tools,
    PersonalType,
    Personal,
};
inline constexpr int ContentKindCount = static_cast<int>(ContentKind::Personal) + 1;

enum class FieldType {
    Line,     // one line of text
    Text,     // several lines of text
    Check,    // a flag written as 1 or 0
    Category, // a row of another table, picked by name; 0 is the picker's prompt
    ToolKind, // the kind of a tool, written as its number
    Picture,  // an optional picture: imgPhoto, lblView, lblClear
    File,     // a stored file: lblFile, btnSelect, btnClear, chkExtName
    ToolPath, // a tool's path: txtPath, btnSelect, chkExtName
};

// How a field narrows the list when the list window's query button is pressed.
enum class FilterUse {
    None,
    Contains,   // the text, matched literally without regard to letter case
    Equals,     // a picker's row, when one is chosen
    WhenTicked, // the flag must be 1, when the box is ticked
};

struct FieldDef {
    FieldType type = FieldType::Line;
    QString column;  // the column written (for Picture and File: the bytes' column)
    QString control; // the control's objectName
    QString label;
    // Required fields: the message when empty. The New dialog and the edit may word it their
    // own way; empty alternatives fall back to `missing`.
    QString missing;
    QString missingInNew;
    QString missingOnEdit;
    QString requiredWith; // a Check column that makes this field required when ticked
    bool trim = true;     // compared and written trimmed
    int maxLength = 0;    // what the box accepts; 0: no limit
    int refuseOver = 0;   // longer texts are refused with `tooLong`
    QString tooLong;
    QString whenEmpty; // written instead of an empty text
    FilterUse filter = FilterUse::None;
    // Category pickers.
    Table source = Table::Item;
    int sourceItemId = 0; // rows of `type` with this itemid
    QString prompt;       // the picker's first line
    QString parentColumn; // the picker whose row filters this one's rows (by that column)
    QString nameColumn;   // the view column that holds the picked row's name
    Setting extNameSetting = Setting::FileTitleExtName; // File and ToolPath: chkExtName
};

enum class CellFormat {
    Plain,
    UrlEnabled, // "已启用" / "未启用"
    CommonMark, // the common-list mark, toggled by a click
    ToolKind,   // the kind's name
};

struct ListColumn {
    QString caption;
    QString column;
    CellFormat format = CellFormat::Plain;
};

struct CopyButton {
    QString control;
    QString caption;
    QStringList columns; // joined by a line break
    QString message;
    bool picture = false; // copies the stored picture instead of text
};

// The texts of deleting a row. Rows without children only ask `ask`.
struct DeleteTexts {
    QString selectFirst;
    QString refuse;     // TypeDelMode "0" and children present
    QString ask;        // no children
    QString askCascade; // children that go with it
};

// The list window's own command beside add, edit, delete and query.
enum class ListExtra { None, ExportPictures, ExportFiles, OpenPath };

struct ExportTexts {
    QString none;     // nothing to write
    QString done;     // %1: how many were written
    QString noteOpen; // before the folder on the second line
};

struct ButtonNames {
    QString add = QStringLiteral("btnAdd");
    QString edit = QStringLiteral("btnEdit");
    QString remove = QStringLiteral("btnDel");
    QString query = QStringLiteral("btnQuery");
};

struct KindDescriptor {
    ContentKind kind = ContentKind::BigCategory;
    Table table = Table::Type;
    Row fixedValues;     // written with every row (itemid, a courier's flag)
    QString stem;        // windows are "frm" + stem (+ "New", "Edit", "View")
    QString captionStem; // "知识库": "知识库-编辑", "知识库-底部查询-编辑"
    QString listCaption;
    QList<FieldDef> fields; // in the order they are checked
    QString duplicate;
    QList<ListColumn> columns;
    ButtonNames buttons;
    QString selectToEdit;
    DeleteTexts deleting;
    std::optional<DeleteTexts> deletingFromMenu; // the panel menu's own wording
    std::optional<ContentKind> children;
    bool liveFilter = false; // typing in the name box filters at once, by the name alone
    QList<CopyButton> copies;
    ListExtra extra = ListExtra::None;
    ExportTexts exporting;
    std::optional<SearchKind> searchKind; // kinds with a View window

    const FieldDef* field(const QString& column) const;
    const FieldDef* fieldOfType(FieldType type) const;
    const FieldDef& nameField() const;
    Where scope() const; // where names must be unique
    bool isCategory() const { return children.has_value(); }

    QString windowName(const QString& role = {}) const
    {
        return QStringLiteral("frm") + stem + role;
    }
    QString newCaption() const;
    QString editCaption(bool fromQueryBar) const;
    QString viewCaption() const;
};

namespace Kinds {

const KindDescriptor& descriptor(ContentKind kind);
QList<ContentKind> all();
std::optional<ContentKind> forSearchKind(SearchKind kind);

// The open dialogs' titles and filters, in the "description|patterns|..." form.
QString pictureDialogTitle();
QString pictureFilter();
QString fileDialogTitle();
QString fileFilter();
QString toolDialogTitle();
QString toolFilter();

} // namespace Kinds
