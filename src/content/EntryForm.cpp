#include "content/EntryForm.h"

#include "content/ClickLabel.h"
#include "content/ContentServices.h"
#include "content/PathText.h"
#include "content/SizeRule.h"
#include "data/Columns.h"
#include "data/Settings.h"
#include "data/ToolKind.h"
#include "platform/Desktop.h"
#include "widgets/Dialogs.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QPixmap>
#include <QPlainTextEdit>
#include <QPushButton>

using namespace Qt::StringLiterals;

namespace {

const QString NoFile = u"无"_s;
const QString NoPicture = u"点击选择图片"_s;
constexpr QSize PhotoSize(200, 150);

} // namespace

EntryForm::EntryForm(const KindDescriptor& kind, ContentServices& services, QWidget* parent)
    : QWidget(parent), m_kind(kind), m_services(services)
{
    auto* layout = new QFormLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setVerticalSpacing(8);
    for (const FieldDef& f : m_kind.fields) {
        QWidget* w = buildField(f);
        if (f.type == FieldType::Check)
            layout->addRow(QString(), w);
        else
            layout->addRow(f.label, w);
    }
    for (const FieldDef& f : m_kind.fields) {
        if (f.type == FieldType::Category && f.parentColumn.isEmpty())
            fillPicker(f, 0);
    }
    if (QLineEdit* name = nameBox())
        connect(name, &QLineEdit::textEdited, this, &EntryForm::nameEdited);
}

QWidget* EntryForm::buildField(const FieldDef& field)
{
    switch (field.type) {
    case FieldType::Line: {
        auto* box = new QLineEdit(this);
        box->setObjectName(field.control);
        if (field.maxLength > 0)
            box->setMaxLength(field.maxLength);
        m_lines.insert(field.column, box);
        return box;
    }
    case FieldType::Text: {
        auto* box = new QPlainTextEdit(this);
        box->setObjectName(field.control);
        box->setMinimumHeight(80);
        m_texts.insert(field.column, box);
        return box;
    }
    case FieldType::Check: {
        auto* box = new QCheckBox(field.label, this);
        box->setObjectName(field.control);
        m_checks.insert(field.column, box);
        return box;
    }
    case FieldType::Category: {
        auto* box = new QComboBox(this);
        box->setObjectName(field.control);
        m_pickers.insert(field.column, box);
        const QString column = field.column;
        connect(box, &QComboBox::currentIndexChanged, this,
                [this, column] { refreshDependents(column); });
        return box;
    }
    case FieldType::ToolKind:
        m_toolKind = new QComboBox(this);
        m_toolKind->setObjectName(field.control);
        m_toolKind->addItems(ToolKind::names());
        return m_toolKind;
    case FieldType::Picture:
        return buildPicture(field);
    case FieldType::File:
        return buildFile(field);
    case FieldType::ToolPath:
        return buildToolPath(field);
    }
    return nullptr;
}

QWidget* EntryForm::buildPicture(const FieldDef& field)
{
    auto* box = new QWidget(this);
    m_photo = new ClickLabel(NoPicture, box);
    m_photo->setObjectName(field.control);
    m_photo->setFixedSize(PhotoSize);
    m_photo->setAlignment(Qt::AlignCenter);
    m_photo->setFrameShape(QFrame::StyledPanel);
    m_view = new ClickLabel(u"查看"_s, box);
    m_view->setObjectName(u"lblView"_s);
    m_clear = new ClickLabel(u"清除"_s, box);
    m_clear->setObjectName(u"lblClear"_s);
    auto* links = new QVBoxLayout;
    links->addWidget(m_view);
    links->addWidget(m_clear);
    links->addStretch(1);
    auto* row = new QHBoxLayout(box);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(m_photo);
    row->addLayout(links);
    row->addStretch(1);
    connect(m_photo, &ClickLabel::clicked, this, &EntryForm::choosePicture);
    connect(m_view, &ClickLabel::clicked, this, &EntryForm::viewPicture);
    connect(m_clear, &ClickLabel::clicked, this, &EntryForm::clearAttachment);
    return box;
}

QCheckBox* EntryForm::buildExtNameBox(const FieldDef& field)
{
    m_extName = new QCheckBox(u"标题带扩展名"_s, this);
    m_extName->setObjectName(u"chkExtName"_s);
    m_extName->setChecked(m_services.settings().flag(field.extNameSetting));
    const Setting setting = field.extNameSetting;
    connect(m_extName, &QCheckBox::toggled, this, [this, setting](bool on) {
        const Result<void> r = m_services.settings().setValue(setting, on ? u"1"_s : u"0"_s);
        if (!r)
            Dialogs::message(this, r.message());
    });
    return m_extName;
}

QWidget* EntryForm::buildFile(const FieldDef& field)
{
    auto* box = new QWidget(this);
    m_fileLabel = new QLabel(NoFile, box);
    m_fileLabel->setObjectName(field.control);
    m_select = new QPushButton(u"选择"_s, box);
    m_select->setObjectName(u"btnSelect"_s);
    m_clearFile = new QPushButton(u"清除"_s, box);
    m_clearFile->setObjectName(u"btnClear"_s);
    auto* row = new QHBoxLayout(box);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(m_fileLabel, 1);
    row->addWidget(m_select);
    row->addWidget(m_clearFile);
    row->addWidget(buildExtNameBox(field));
    connect(m_select, &QPushButton::clicked, this, &EntryForm::chooseFile);
    connect(m_clearFile, &QPushButton::clicked, this, &EntryForm::clearAttachment);
    return box;
}

QWidget* EntryForm::buildToolPath(const FieldDef& field)
{
    auto* box = new QWidget(this);
    auto* path = new QLineEdit(box);
    path->setObjectName(field.control);
    m_lines.insert(field.column, path);
    m_select = new QPushButton(u"选择"_s, box);
    m_select->setObjectName(u"btnSelect"_s);
    auto* row = new QHBoxLayout(box);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(path, 1);
    row->addWidget(m_select);
    row->addWidget(buildExtNameBox(field));
    connect(m_select, &QPushButton::clicked, this, &EntryForm::chooseTool);
    return box;
}

void EntryForm::fillPicker(const FieldDef& field, qint64 select)
{
    QComboBox* box = m_pickers.value(field.column);
    Where where;
    if (field.sourceItemId != 0)
        where.append({Column::ItemId, field.sourceItemId});
    bool promptOnly = false;
    if (!field.parentColumn.isEmpty()) {
        const qint64 parent = m_pickers.value(field.parentColumn)->currentData().toLongLong();
        promptOnly = parent <= 0;
        where.append({field.parentColumn, parent});
    }
    QList<NamedId> entries{{0, field.prompt}};
    if (!promptOnly) {
        Result<QList<NamedId>> r =
            m_services.store().categoryList(field.source, field.prompt, where);
        if (!r)
            Dialogs::message(this, r.message());
        else
            entries = r.value();
    }
    {
        const QSignalBlocker quiet(box);
        box->clear();
        for (const NamedId& e : entries)
            box->addItem(e.name, e.id);
        selectInPicker(box, select);
    }
    refreshDependents(field.column);
}

void EntryForm::refreshDependents(const QString& column)
{
    for (const FieldDef& f : m_kind.fields) {
        if (f.type == FieldType::Category && f.parentColumn == column)
            fillPicker(f, m_pickers.value(f.column)->currentData().toLongLong());
    }
}

void EntryForm::selectInPicker(QComboBox* box, qint64 id)
{
    const int at = box->findData(id);
    box->setCurrentIndex(at < 0 ? 0 : at);
}

void EntryForm::reloadPickers()
{
    for (const FieldDef& f : m_kind.fields) {
        if (f.type == FieldType::Category && f.parentColumn.isEmpty())
            fillPicker(f, m_pickers.value(f.column)->currentData().toLongLong());
    }
}

void EntryForm::preset(const QString& column, qint64 id)
{
    if (QComboBox* box = m_pickers.value(column))
        selectInPicker(box, id);
}

QLineEdit* EntryForm::nameBox() const
{
    return m_lines.value(Column::Name);
}

EntryValues EntryForm::values() const
{
    EntryValues v;
    for (auto it = m_lines.cbegin(); it != m_lines.cend(); ++it)
        v.fields.insert(it.key(), it.value()->text());
    for (auto it = m_texts.cbegin(); it != m_texts.cend(); ++it)
        v.fields.insert(it.key(), it.value()->toPlainText());
    for (auto it = m_checks.cbegin(); it != m_checks.cend(); ++it)
        v.fields.insert(it.key(), it.value()->isChecked() ? 1 : 0);
    for (auto it = m_pickers.cbegin(); it != m_pickers.cend(); ++it)
        v.fields.insert(it.key(), it.value()->currentData().toLongLong());
    if (m_toolKind)
        v.fields.insert(m_kind.fieldOfType(FieldType::ToolKind)->column,
                        m_toolKind->currentIndex());
    v.attachment = m_attachment;
    v.hasStoredAttachment = m_hasStored;
    return v;
}

EntryValues EntryForm::valuesForNewRow() const
{
    EntryValues v = values();
    if (v.attachment.state == Attachment::State::Keep && m_hasStored) {
        if (std::optional<QByteArray> bytes = attachmentBytes())
            v.attachment = {Attachment::State::Replace, *bytes, m_storedExt, QString()};
    }
    v.hasStoredAttachment = false;
    return v;
}

std::optional<QByteArray> EntryForm::attachmentBytes() const
{
    if (m_attachment.state == Attachment::State::Replace)
        return m_attachment.bytes;
    if (m_attachment.state == Attachment::State::Clear || !m_hasStored || m_id == 0)
        return std::nullopt;
    Result<std::optional<QByteArray>> r = m_services.store().blob(m_kind.table, m_id);
    return r ? r.value() : std::nullopt;
}

void EntryForm::load(const Row& row)
{
    m_id = row.value(Column::Id).toLongLong();
    for (auto it = m_lines.cbegin(); it != m_lines.cend(); ++it)
        it.value()->setText(row.value(it.key()).toString());
    for (auto it = m_texts.cbegin(); it != m_texts.cend(); ++it)
        it.value()->setPlainText(row.value(it.key()).toString());
    for (auto it = m_checks.cbegin(); it != m_checks.cend(); ++it)
        it.value()->setChecked(row.value(it.key()).toInt() == 1);
    // Parents first: choosing one refills the pickers that depend on it.
    for (const FieldDef& f : m_kind.fields) {
        if (f.type == FieldType::Category)
            selectInPicker(m_pickers.value(f.column), row.value(f.column).toLongLong());
    }
    if (m_toolKind) {
        const int kind = row.value(m_kind.fieldOfType(FieldType::ToolKind)->column).toInt();
        m_toolKind->setCurrentIndex(kind >= 0 && kind < m_toolKind->count() ? kind : 0);
    }

    m_attachment = Attachment{};
    m_hasStored = row.value(Column::HasBlob).toBool();
    m_storedExt = row.value(Column::ExtName).toString();
    m_storedFileName.clear();
    if (m_photo) {
        std::optional<QByteArray> bytes = m_hasStored ? attachmentBytes() : std::nullopt;
        if (bytes) {
            // The stored picture is kept on disk as well, where lblView opens it.
            const Result<void> w = m_services.files().write(
                m_services.files().picturePath(m_kind.table, m_id, m_storedExt), *bytes);
            if (!w)
                Dialogs::message(this, w.message());
            showPicture(*bytes);
        } else {
            showPicture({});
        }
    }
    if (m_fileLabel) {
        if (m_hasStored) {
            const QString name = row.value(Column::Name).toString();
            m_storedFileName = m_storedExt.isEmpty() ? name : name + u'.' + m_storedExt;
        }
        showFileLabel();
    }
}

void EntryForm::clear()
{
    m_id = 0;
    for (QLineEdit* box : std::as_const(m_lines))
        box->clear();
    for (QPlainTextEdit* box : std::as_const(m_texts))
        box->clear();
    for (QCheckBox* box : std::as_const(m_checks))
        box->setChecked(false);
    for (const FieldDef& f : m_kind.fields) {
        if (f.type == FieldType::Category && f.parentColumn.isEmpty())
            selectInPicker(m_pickers.value(f.column), 0);
    }
    if (m_toolKind)
        m_toolKind->setCurrentIndex(0);
    m_attachment = Attachment{};
    m_hasStored = false;
    m_storedExt.clear();
    m_storedFileName.clear();
    if (m_photo)
        showPicture({});
    if (m_fileLabel)
        showFileLabel();
}

void EntryForm::clearName()
{
    if (QLineEdit* name = nameBox())
        name->clear();
}

void EntryForm::setReadOnly(bool readOnly)
{
    m_readOnly = readOnly;
    for (QLineEdit* box : std::as_const(m_lines))
        box->setReadOnly(readOnly);
    for (QPlainTextEdit* box : std::as_const(m_texts))
        box->setReadOnly(readOnly);
    for (QCheckBox* box : std::as_const(m_checks))
        box->setEnabled(!readOnly);
    for (QComboBox* box : std::as_const(m_pickers))
        box->setEnabled(!readOnly);
    if (m_toolKind)
        m_toolKind->setEnabled(!readOnly);
    for (QWidget* w : {static_cast<QWidget*>(m_clear), static_cast<QWidget*>(m_select),
                       static_cast<QWidget*>(m_clearFile), static_cast<QWidget*>(m_extName)}) {
        if (w)
            w->setVisible(!readOnly);
    }
    if (m_photo)
        m_photo->setCursor(readOnly ? Qt::ArrowCursor : Qt::PointingHandCursor);
}

void EntryForm::choosePicture()
{
    if (m_readOnly)
        return;
    const std::optional<QString> path =
        takeAttachment(Kinds::pictureDialogTitle(), Kinds::pictureFilter(), [this](qint64 size) {
            return SizeRule::refusePicture(size, m_services.pictureLimitMb());
        });
    if (path)
        showPicture(m_attachment.bytes);
}

std::optional<QString>
EntryForm::takeAttachment(const QString& title, const QString& filter,
                          const std::function<std::optional<QString>(qint64)>& refuse)
{
    const QString path = m_services.picker().openFile(this, title, filter);
    if (path.isEmpty())
        return std::nullopt;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        Dialogs::message(this, u"无法读取文件 "_s + QDir::toNativeSeparators(path));
        return std::nullopt;
    }
    if (const std::optional<QString> refusal = refuse(file.size())) {
        Dialogs::message(this, *refusal);
        return std::nullopt;
    }
    m_attachment = {Attachment::State::Replace, file.readAll(), PathText::extension(path), path};
    return path;
}

void EntryForm::chooseFile()
{
    const std::optional<QString> chosen =
        takeAttachment(Kinds::fileDialogTitle(), Kinds::fileFilter(), [this](qint64 size) {
            return SizeRule::refuseFile(size, m_services.fileLimitMb());
        });
    if (!chosen)
        return;
    const QString& path = *chosen;
    if (QLineEdit* name = nameBox())
        name->setText(PathText::title(path, m_extName->isChecked()));
    showFileLabel();
}

void EntryForm::chooseTool()
{
    const QString path =
        m_services.picker().openFile(this, Kinds::toolDialogTitle(), Kinds::toolFilter());
    if (path.isEmpty())
        return;
    m_lines.value(m_kind.fieldOfType(FieldType::ToolPath)->column)
        ->setText(QDir::toNativeSeparators(path));
    if (QLineEdit* name = nameBox())
        name->setText(PathText::title(path, m_extName->isChecked()));
}

void EntryForm::viewPicture()
{
    QString path;
    if (m_attachment.state == Attachment::State::Replace) {
        path = m_attachment.sourcePath;
    } else if (std::optional<QByteArray> bytes = attachmentBytes()) {
        path = m_services.files().picturePath(m_kind.table, m_id, m_storedExt);
        if (const Result<void> w = m_services.files().write(path, *bytes); !w) {
            Dialogs::message(this, w.message());
            return;
        }
    } else {
        return;
    }
    if (m_services.desktop().openPath(path) == Desktop::OpenResult::NotFound)
        Dialogs::message(this, u"路径或文件名错误！"_s);
}

void EntryForm::openToolFolder()
{
    const FieldDef* field = m_kind.fieldOfType(FieldType::ToolPath);
    const QString path = field ? m_lines.value(field->column)->text().trimmed() : QString();
    if (path.isEmpty()) {
        Dialogs::message(this, u"请择要打开的工具或文件路径!"_s);
        return;
    }
    const QString folder = PathText::containingFolder(path);
    if (folder.isEmpty() || m_services.desktop().openPath(folder) == Desktop::OpenResult::NotFound)
        Dialogs::message(this, u"路径或文件名错误！"_s);
}

void EntryForm::clearAttachment()
{
    if (m_readOnly)
        return;
    m_attachment = Attachment{};
    m_attachment.state = Attachment::State::Clear;
    if (m_photo)
        showPicture({});
    if (m_fileLabel)
        showFileLabel();
}

void EntryForm::showPicture(const QByteArray& bytes)
{
    QPixmap pixmap;
    if (!bytes.isEmpty() && pixmap.loadFromData(bytes)) {
        m_photo->setPixmap(pixmap.scaled(PhotoSize, Qt::KeepAspectRatio, Qt::SmoothTransformation));
        return;
    }
    m_photo->setPixmap(QPixmap());
    m_photo->setText(bytes.isEmpty() ? NoPicture : QString());
}

void EntryForm::showFileLabel()
{
    switch (m_attachment.state) {
    case Attachment::State::Replace:
        m_fileLabel->setText(QDir::toNativeSeparators(m_attachment.sourcePath));
        break;
    case Attachment::State::Clear:
        m_fileLabel->setText(NoFile);
        break;
    case Attachment::State::Keep:
        m_fileLabel->setText(m_hasStored ? m_storedFileName : NoFile);
        break;
    }
}
