#include "hotkeys/HotKeyWindow.h"

#include "data/Columns.h"
#include "data/Settings.h"
#include "data/Store.h"
#include "hotkeys/HotKeyBox.h"
#include "hotkeys/HotKeyManager.h"
#include "hotkeys/HotKeyBox.h"
#include "hotkeys/HotKeySaveCheck.h"
#include "hotkeys/SelectContentWindow.h"
#include "keys/KeyCodes.h"
#include "widgets/Dialogs.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QStringList>
#include <utility>

namespace {

QString numbered(const char* stem, int n)
{
    return QLatin1String(stem) + QString::number(n);
}

} // namespace

HotKeyWindow::HotKeyWindow(HotKeyManager& manager, QWidget* parent)
    : FramelessDialog(parent), m_manager(manager)
{
    setObjectName(QStringLiteral("frmHotKey"));
    setModal(true);
    setCaption(QStringLiteral("热键设置"));

    const Settings& settings = m_manager.settings();
    auto* grid = new QGridLayout;
    grid->setHorizontalSpacing(8);
    grid->setVerticalSpacing(6);
    grid->addWidget(new QLabel(QStringLiteral("热键"), this), 0, 1);
    grid->addWidget(new QLabel(QStringLiteral("发送内容"), this), 0, 2);
    for (int n = 1; n <= HotKeyAssignments::Count; ++n) {
        Assignment& a = assignment(n);
        a.key = new HotKeyBox(m_manager.desktop(), this);
        a.key->setObjectName(numbered("K", n));
        a.key->load(settings, n);

        a.content = new QLineEdit(this);
        a.content->setObjectName(numbered("T", n));
        a.content->setReadOnly(true);
        a.ids = HotKeyAssignments::parseIds(settings.hotKey(n, HotKeyField::SendContent));

        auto* choose = new QPushButton(QStringLiteral("选择…"), this);
        choose->setObjectName(numbered("btnSelect", n));
        connect(choose, &QPushButton::clicked, this, [this, n] { chooseContent(n); });

        a.withTitle = new QCheckBox(QStringLiteral("发送标题和描述"), this);
        a.withTitle->setObjectName(numbered("chkSendTitleAndDesc", n));
        a.withTitle->setChecked(settings.hotKeyFlag(n, HotKeyField::CaptionDescFlag));

        grid->addWidget(new QLabel(QStringLiteral("热键%1：").arg(n), this), n, 0);
        grid->addWidget(a.key, n, 1);
        grid->addWidget(a.content, n, 2);
        grid->addWidget(choose, n, 3);
        grid->addWidget(a.withTitle, n, 4);
        showContent(n);
    }
    grid->setColumnStretch(2, 1);
    bodyLayout()->addLayout(grid);

    auto* restore = new QPushButton(QStringLiteral("恢复默认"), this);
    restore->setObjectName(QStringLiteral("btnRestoreDefault"));
    auto* saveButton = new QPushButton(QStringLiteral("保存"), this);
    saveButton->setObjectName(QStringLiteral("btnSave"));
    auto* cancel = new QPushButton(QStringLiteral("取消"), this);
    cancel->setObjectName(QStringLiteral("btnCancel"));
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(restore);
    buttons->addStretch(1);
    buttons->addWidget(saveButton);
    buttons->addWidget(cancel);
    bodyLayout()->addLayout(buttons);
    connect(restore, &QPushButton::clicked, this, &HotKeyWindow::restoreDefaults);
    connect(saveButton, &QPushButton::clicked, this, &HotKeyWindow::save);
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);

    m_manager.suspend();
}

HotKeyWindow::~HotKeyWindow()
{
    finish();
}

HotKeyBox* HotKeyWindow::captureBox(int n) const
{
    return n >= 1 && n <= HotKeyAssignments::Count ? assignment(n).key : nullptr;
}

QList<qint64> HotKeyWindow::content(int n) const
{
    return n >= 1 && n <= HotKeyAssignments::Count ? assignment(n).ids : QList<qint64>();
}

void HotKeyWindow::setContent(int n, const QList<qint64>& ids)
{
    if (n < 1 || n > HotKeyAssignments::Count)
        return;
    assignment(n).ids = ids;
    showContent(n);
}

void HotKeyWindow::chooseContent(int n)
{
    SelectContentWindow picker(m_manager.store(), assignment(n).ids, this);
    if (picker.exec() == QDialog::Accepted)
        setContent(n, picker.chosen());
}

// DefaultShowHotKeyContent "1" shows what a key pastes by the entries' titles; otherwise the
// box shows the stored ids. The ids are always in the tooltip.
void HotKeyWindow::showContent(int n)
{
    Assignment& a = assignment(n);
    const QString ids = HotKeyAssignments::joinIds(a.ids);
    a.content->setToolTip(ids);
    if (!m_manager.settings().flag(Setting::DefaultShowHotKeyContent)) {
        a.content->setText(ids);
        return;
    }
    QStringList titles;
    for (qint64 id : std::as_const(a.ids)) {
        const Result<std::optional<Row>> row =
            m_manager.store().row(Table::Knowledge, id, {Column::Name});
        if (row && row.value())
            titles << row.value()->value(Column::Name).toString();
        else
            titles << QString::number(id) + QStringLiteral("(已删除)");
    }
    a.content->setText(titles.join(QStringLiteral("、")));
    a.content->setCursorPosition(0);
}

void HotKeyWindow::save()
{
    QList<HotKeySlot> boxes;
    for (int n = 1; n <= HotKeyAssignments::Count; ++n) {
        const HotKeyBox* key = assignment(n).key;
        boxes.append({key->objectName(), key->text(), key->keyCode(), key->modKeyCode()});
    }
    const HotKeySaveCheck::Verdict verdict = HotKeySaveCheck::check(boxes);
    if (!verdict.accepted()) {
        Dialogs::message(this, verdict.refusal);
        return;
    }
    if (!verdict.warning.isEmpty())
        Dialogs::message(this, verdict.warning);
    if (Result<void> written = write(); !written) {
        Dialogs::message(this, written.message());
        return;
    }
    m_saved = true;
    m_manager.applySaved();
    Dialogs::message(this, QStringLiteral("保存成功！"));
    accept();
}

Result<void> HotKeyWindow::write()
{
    Settings& settings = m_manager.settings();
    for (int n = 1; n <= HotKeyAssignments::Count; ++n) {
        const Assignment& a = assignment(n);
        const std::array<std::pair<HotKeyField, QString>, 5> values{{
            {HotKeyField::Key, a.key->text()},
            {HotKeyField::KeyCode, QString::number(a.key->keyCode())},
            {HotKeyField::ModKeyCode, QString::number(a.key->modKeyCode())},
            {HotKeyField::SendContent, HotKeyAssignments::joinIds(a.ids)},
            {HotKeyField::CaptionDescFlag, Settings::flagText(a.withTitle->isChecked())},
        }};
        for (const auto& [field, value] : values) {
            if (Result<void> r = settings.setHotKey(n, field, value); !r)
                return r;
        }
    }
    return {};
}

void HotKeyWindow::restoreDefaults()
{
    for (int n = 1; n <= HotKeyAssignments::Count; ++n) {
        Assignment& a = assignment(n);
        a.key->setCombination(QLatin1Char('F') + QString::number(n), VirtualKey::F1 + n - 1, 0);
        a.ids.clear();
        a.withTitle->setChecked(false);
        showContent(n);
    }
}

void HotKeyWindow::done(int result)
{
    finish();
    FramelessDialog::done(result);
}

void HotKeyWindow::finish()
{
    if (m_finished)
        return;
    m_finished = true;
    if (!m_saved)
        m_manager.resume();
}
