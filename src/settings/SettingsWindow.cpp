#include "settings/SettingsWindow.h"

#include "data/Settings.h"
#include "hotkeys/HotKeyManager.h"
#include "hotkeys/HotKeyWindow.h"
#include "settings/AutoStart.h"
#include "settings/FolderPicker.h"
#include "widgets/Dialogs.h"
#include "widgets/FontPreset.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QCoreApplication>
#include <QDir>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>
#include <algorithm>

namespace {

constexpr int ForegroundIntervalMs = 1000;

// Widgets laid out row by row, `columns` to a row.
QGridLayout* gridOf(const QList<QWidget*>& widgets, int columns)
{
    auto* grid = new QGridLayout;
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setHorizontalSpacing(14);
    grid->setVerticalSpacing(4);
    for (int i = 0; i < widgets.size(); ++i)
        grid->addWidget(widgets.at(i), i / columns, i % columns);
    return grid;
}

QGroupBox* groupOf(const QString& title, QLayout* layout, QWidget* parent)
{
    auto* group = new QGroupBox(title, parent);
    layout->setSpacing(4);
    group->setLayout(layout);
    return group;
}

QLabel* label(const QString& text, QWidget* parent)
{
    auto* l = new QLabel(text, parent);
    l->setObjectName(QStringLiteral("lblCaption"));
    return l;
}

// A group of option buttons of which none may be chosen yet.
void choose(QButtonGroup* group, int id)
{
    if (QAbstractButton* button = group->button(id)) {
        button->setChecked(true);
        return;
    }
    group->setExclusive(false);
    for (QAbstractButton* button : group->buttons())
        button->setChecked(false);
    group->setExclusive(true);
}

int chosen(const QButtonGroup* group)
{
    return std::max(group->checkedId(), 0);
}

} // namespace

SettingsWindow::SettingsWindow(Settings& settings, HotKeyManager& hotKeys, FolderPicker& folders,
                               QString programFolder, QWidget* parent)
    : FramelessDialog(parent), m_settings(settings), m_hotKeys(hotKeys), m_folders(folders),
      m_programFolder(std::move(programFolder)), m_start(new QButtonGroup(this)),
      m_sendKey(new QButtonGroup(this)), m_follow(new QButtonGroup(this)),
      m_sort(new QButtonGroup(this)), m_font(new QButtonGroup(this))
{
    setObjectName(QStringLiteral("frmSet"));
    setModal(true);
    setCaption(QStringLiteral("设置"));
    setStyleSheet(QStringLiteral(
        "QGroupBox { font-weight: bold; border: 1px solid #d5dde1; border-radius: 6px;"
        " margin-top: 1.1em; padding: 8px 8px 6px 8px; background: #ffffff; }"
        "QGroupBox::title { subcontrol-origin: margin; left: 10px; padding: 0 4px; }"
        "QGroupBox > QWidget { font-weight: normal; }"
        "QLabel#lblCaption { color: #52616b; }"
        "QLabel#lblHotKeyExplain { color: #52616b; }"));

    auto* first = new QVBoxLayout;
    first->addWidget(buildStart());
    first->addWidget(buildChoices());
    first->addStretch(1);
    auto* second = new QVBoxLayout;
    second->addWidget(buildSending());
    second->addWidget(buildHotKeys());
    second->addWidget(buildQuery());
    second->addStretch(1);
    auto* third = new QVBoxLayout;
    third->addWidget(buildDocking());
    third->addWidget(buildOther());
    third->addStretch(1);
    auto* columns = new QHBoxLayout;
    columns->setSpacing(12);
    for (QVBoxLayout* column : {first, second, third}) {
        column->setSpacing(8);
        columns->addLayout(column, 1);
    }
    bodyLayout()->addLayout(columns);
    bodyLayout()->addWidget(buildPaths());

    const CommandRow row = addCommandRow(QStringLiteral("btnComfirm"));
    auto* defaults = new QPushButton(QStringLiteral("恢复默认"), this);
    defaults->setObjectName(QStringLiteral("btnDefault"));
    row.layout->insertWidget(0, defaults);
    connect(defaults, &QPushButton::clicked, this, &SettingsWindow::restoreDefaults);
    connect(row.ok, &QPushButton::clicked, this, &SettingsWindow::confirm);

    showForm(SettingsForm::read(m_settings));

    // Our own windows are in front while this one is open: the readout keeps the last other
    // window, and a title changing in place (a chat switching customers) is seen by the timer.
    Desktop& desktop = m_hotKeys.desktop();
    auto refresh = [this, &desktop] { showForeground(desktop.foregroundWindow()); };
    connect(&desktop, &Desktop::foregroundChanged, this, refresh);
    connect(&m_foregroundTimer, &QTimer::timeout, this, refresh);
    m_foregroundTimer.start(ForegroundIntervalMs);
    refresh();
}

QCheckBox* SettingsWindow::box(Setting key, const char* name, const QString& caption)
{
    auto* b = new QCheckBox(caption, this);
    b->setObjectName(QLatin1String(name));
    m_boxes.append({key, b});
    return b;
}

QRadioButton* SettingsWindow::option(QButtonGroup* group, int id, const char* name,
                                     const QString& caption)
{
    auto* b = new QRadioButton(caption, this);
    b->setObjectName(QLatin1String(name));
    group->addButton(b, id);
    return b;
}

QLineEdit* SettingsWindow::pathBox(const char* name)
{
    auto* edit = new QLineEdit(this);
    edit->setObjectName(QLatin1String(name));
    edit->setPlaceholderText(QStringLiteral("留空：程序文件夹"));
    return edit;
}

QGroupBox* SettingsWindow::buildStart()
{
    using enum Setting;
    // Each option writes the number of its tab on the panel.
    const QList<QWidget*> tabs = {
        option(m_start, 1, "optTree", QStringLiteral("树结构")),
        option(m_start, 2, "optQuery", QStringLiteral("查询")),
        option(m_start, 3, "optSimple", QStringLiteral("简洁")),
        option(m_start, 4, "optFile", QStringLiteral("文件")),
        option(m_start, 5, "optTools", QStringLiteral("工具")),
        option(m_start, 6, "optPersonal", QStringLiteral("私人")),
    };
    QCheckBox* express = box(StartExpress, "chkStartExpress", QStringLiteral("快递公司"));
    express->setToolTip(QStringLiteral("树结构中的快递公司随公司事务一同展开。"));
    const QList<QWidget*> expand = {
        box(StartCommon, "chkStartCommon", QStringLiteral("常用知识")),
        box(StartProductKnowledge, "chkStartProductKnowledge", QStringLiteral("产品知识")),
        box(StartGoodsType, "chkStartGoodsType", QStringLiteral("产品大分类")),
        box(StartProduct, "chkStartProduct", QStringLiteral("产品小分类")),
        box(StartCompanyAffairs, "chkStartCompanyAffairs", QStringLiteral("公司事务")),
        express,
    };
    const QList<QWidget*> load = {
        box(StartLoadSimple, "chkStartLoadSimple", QStringLiteral("简洁")),
        box(StartLoadFile, "chkStartLoadFile", QStringLiteral("文件")),
        box(StartLoadTools, "chkStartLoadTools", QStringLiteral("工具")),
        box(StartLoadPersonal, "chkStartLoadPersonal", QStringLiteral("私人")),
        box(StartLoadQuery, "chkStartLoadQuery", QStringLiteral("查询")),
    };
    auto* layout = new QVBoxLayout;
    layout->addWidget(label(QStringLiteral("默认打开："), this));
    layout->addLayout(gridOf(tabs, 3));
    layout->addWidget(label(QStringLiteral("展开树结构："), this));
    layout->addLayout(gridOf(expand, 2));
    layout->addWidget(label(QStringLiteral("加载列表："), this));
    layout->addLayout(gridOf(load, 3));
    layout->addWidget(box(StartTop, "chkStartTop", QStringLiteral("窗口置顶")));
    return groupOf(QStringLiteral("软件启动时"), layout, this);
}

QGroupBox* SettingsWindow::buildChoices()
{
    const QList<QWidget*> sizes = {
        option(m_font, static_cast<int>(FontSize::Small) + 1, "optFontSmall", QStringLiteral("小")),
        option(m_font, static_cast<int>(FontSize::Middle) + 1, "optFontMiddle",
               QStringLiteral("中")),
        option(m_font, static_cast<int>(FontSize::Big) + 1, "optFontBig", QStringLiteral("大")),
    };
    const QList<QWidget*> orders = {
        option(m_sort, 1, "optAsc", QStringLiteral("编号顺序")),
        option(m_sort, 2, "optDesc", QStringLiteral("编号倒序")),
        option(m_sort, 3, "optTime", QStringLiteral("最常用在前")),
        option(m_sort, 4, "optCustom", QStringLiteral("自定义顺序")),
    };
    auto* layout = new QVBoxLayout;
    layout->addWidget(label(QStringLiteral("字体尺寸："), this));
    layout->addLayout(gridOf(sizes, 3));
    layout->addWidget(label(QStringLiteral("知识库排序："), this));
    layout->addLayout(gridOf(orders, 2));
    return groupOf(QStringLiteral("显示"), layout, this);
}

QGroupBox* SettingsWindow::buildSending()
{
    using enum Setting;
    m_autoSend = new QCheckBox(QStringLiteral("粘贴后自动按下发送键"), this);
    m_autoSend->setObjectName(QStringLiteral("chkAutoPressSendKey"));
    auto* keys = new QHBoxLayout;
    keys->setContentsMargins(22, 0, 0, 0);
    keys->setSpacing(14);
    using Key = SettingsForm::SendKey;
    keys->addWidget(
        option(m_sendKey, static_cast<int>(Key::Enter), "optEnter", QStringLiteral("Enter")));
    keys->addWidget(option(m_sendKey, static_cast<int>(Key::CtrlEnter), "optCtrlEnter",
                           QStringLiteral("Ctrl+Enter")));
    keys->addStretch(1);

    auto* layout = new QVBoxLayout;
    layout->addWidget(box(DbClickChat, "chkDbClickChat", QStringLiteral("双击发送到聊天窗口")));
    layout->addWidget(box(SendCaptionDesc, "chkSendCaptionDesc", QStringLiteral("发送标题和描述")));
    layout->addWidget(box(EndNewLineOne, "chkEndNewLineOne", QStringLiteral("内容末尾加换行")));
    layout->addWidget(
        box(EndNewLineTwo, "chkEndNewLineTwo", QStringLiteral("内容末尾再加一个换行")));
    layout->addWidget(m_autoSend);
    layout->addLayout(keys);
    return groupOf(QStringLiteral("发送"), layout, this);
}

QGroupBox* SettingsWindow::buildHotKeys()
{
    using enum Setting;
    // Two lines as written: a wrapped label is not given its height inside the group.
    auto* explain =
        new QLabel(QStringLiteral("启用热键功能后 按下热键可以直接") + QLatin1Char('\n') +
                       QStringLiteral("把设置好的内容发送到要输入地方，非常方便。"),
                   this);
    explain->setObjectName(QStringLiteral("lblHotKeyExplain"));
    auto* open = new QPushButton(QStringLiteral("热键设置…"), this);
    open->setObjectName(QStringLiteral("btnSetHotKey"));
    connect(open, &QPushButton::clicked, this, &SettingsWindow::openHotKeyWindow);
    auto* startRow = new QHBoxLayout;
    startRow->addWidget(box(StartHotKey, "chkStartHotKey", QStringLiteral("启用热键")));
    startRow->addStretch(1);
    startRow->addWidget(open);

    auto* layout = new QVBoxLayout;
    layout->addLayout(startRow);
    layout->addWidget(box(DefaultShowHotKeyContent, "chkDefaultShowHotKeyContent",
                          QStringLiteral("热键设置中显示内容标题")));
    layout->addWidget(
        box(AddHotKeyEndNewLine, "chkAddHotKeyEndNewLine", QStringLiteral("热键内容末尾保留换行")));
    layout->addWidget(explain);
    return groupOf(QStringLiteral("热键"), layout, this);
}

QGroupBox* SettingsWindow::buildQuery()
{
    using enum Setting;
    const QList<QWidget*> kinds = {
        box(QueryShowSimpleFlag, "chkQueryShowSimple", QStringLiteral("简洁")),
        box(QueryShowFileFlag, "chkQueryShowFile", QStringLiteral("文件")),
        box(QueryShowToolsFlag, "chkQueryShowTools", QStringLiteral("工具")),
        box(QueryShowPersonalFlag, "chkQueryShowPersonal", QStringLiteral("私人")),
    };
    auto* layout = new QVBoxLayout;
    layout->addWidget(label(QStringLiteral("查询全部时包括："), this));
    layout->addLayout(gridOf(kinds, 4));
    layout->addWidget(
        box(QueryBarShowFlag, "chkQueryBarShow", QStringLiteral("在聊天窗口底部显示查询条")));
    layout->addWidget(box(QueryBestMatchFirst, "chkQueryBestMatchFirst",
                          QStringLiteral("最佳匹配优先（整名、开头相符的排在前面）")));
    return groupOf(QStringLiteral("查询"), layout, this);
}

QGroupBox* SettingsWindow::buildDocking()
{
    using enum Setting;
    const QList<QWidget*> clients = {
        box(XiFuQQ, "chkXiFuQQ", QStringLiteral("QQ")),
        box(XiFuWeiXin, "chkXiFuWeiXin", QStringLiteral("微信")),
        box(XiFuQiYeWeiXin, "chkXiFuQiYeWeiXin", QStringLiteral("企业微信")),
        box(XiFuQianNiu, "chkXiFuQianNiu", QStringLiteral("千牛")),
        box(XiFuWangWang, "chkXiFuWangWang", QStringLiteral("阿里旺旺")),
        box(XiFuDingDing, "chkXiFuDingDing", QStringLiteral("钉钉")),
        box(XiFuBaiduShangQiao, "chkXiFuBaiduShangQiao", QStringLiteral("百度商桥")),
    };
    auto* sides = new QHBoxLayout;
    sides->setSpacing(14);
    sides->addWidget(label(QStringLiteral("跟随位置："), this));
    sides->addWidget(option(m_follow, 1, "optXiFuMainShowLeft", QStringLiteral("左侧")));
    sides->addWidget(option(m_follow, 2, "optXiFuMainShowRight", QStringLiteral("右侧")));
    sides->addStretch(1);

    m_customWindows = new QLineEdit(this);
    m_customWindows->setObjectName(QStringLiteral("txtXiFuCustomWindows"));
    m_customWindows->setPlaceholderText(QStringLiteral("如 ChatApp;Other|^客户"));
    m_customWindows->setToolTip(
        QStringLiteral("每条规则是一个窗口类名（不分大小写），可接 | 和标题须包含的正则表达式；"
                       "多条规则以 ; 分隔。"));
    m_foregroundClass = new QLabel(this);
    m_foregroundClass->setObjectName(QStringLiteral("lblForegroundClass"));
    m_foregroundTitle = new QLabel(this);
    m_foregroundTitle->setObjectName(QStringLiteral("lblForegroundTitle"));
    for (QLabel* l : {m_foregroundClass, m_foregroundTitle}) {
        l->setTextInteractionFlags(Qt::TextSelectableByMouse);
        l->setMinimumWidth(1);
        l->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    }
    auto* add = new QPushButton(QStringLiteral("加入规则"), this);
    add->setObjectName(QStringLiteral("btnAddCustomWindow"));
    add->setToolTip(QStringLiteral("把当前窗口的类名加入自定义规则"));
    connect(add, &QPushButton::clicked, this, &SettingsWindow::addForegroundRule);
    auto* current = new QGridLayout;
    current->setContentsMargins(0, 0, 0, 0);
    current->setVerticalSpacing(2);
    current->addWidget(label(QStringLiteral("当前窗口"), this), 0, 0);
    current->addWidget(add, 0, 1, Qt::AlignRight);
    current->addWidget(m_foregroundClass, 1, 0, 1, 2);
    current->addWidget(m_foregroundTitle, 2, 0, 1, 2);

    auto* layout = new QVBoxLayout;
    layout->addWidget(label(QStringLiteral("吸附的聊天程序："), this));
    layout->addLayout(gridOf(clients, 2));
    layout->addLayout(sides);
    layout->addWidget(label(QStringLiteral("自定义聊天窗口："), this));
    layout->addWidget(m_customWindows);
    layout->addLayout(current);
    return groupOf(QStringLiteral("吸附聊天窗口"), layout, this);
}

QGroupBox* SettingsWindow::buildOther()
{
    using enum Setting;
    QCheckBox* focus = box(KeepInputFocus, "chkKeepInputFocus", QStringLiteral("保持输入焦点"));
    focus->setToolTip(QStringLiteral("粘贴到哪个窗口已不受此项影响，保留此项只为兼容旧的配置。"));
    auto* layout = new QVBoxLayout;
    layout->addWidget(
        box(TypeDelMode, "chkTypeDelMode", QStringLiteral("删除分类时一并删除其下内容")));
    layout->addWidget(
        box(MainNewAfterFlag, "chkMainNewAfterFlag", QStringLiteral("新增后关闭编辑窗口")));
    layout->addWidget(box(CloseMainNewEditPrompt, "chkCloseMainNewEditPrompt",
                          QStringLiteral("保存后不再提示成功")));
    layout->addWidget(box(MessageSound, "chkMessageSound", QStringLiteral("提示时播放声音")));
    layout->addWidget(focus);
    m_autoStartBox = new QCheckBox(QStringLiteral("开机自动启动"), this);
    m_autoStartBox->setObjectName(QStringLiteral("chkAutoStart"));
    m_autoStartBox->setToolTip(QStringLiteral("登录后在任务栏通知区域启动客服Tavro。"));
    m_autoStartBox->hide();
    layout->addWidget(m_autoStartBox);
    return groupOf(QStringLiteral("其他"), layout, this);
}

QGroupBox* SettingsWindow::buildPaths()
{
    m_databasePath = pathBox("txtDatabasePath");
    m_backupPath = pathBox("txtBackupInitPath");
    m_backupPathPer = pathBox("txtBackupInitPathPer");
    auto* backup = new QPushButton(QStringLiteral("浏览…"), this);
    backup->setObjectName(QStringLiteral("btnBackupSelectPath"));
    auto* backupPer = new QPushButton(QStringLiteral("浏览…"), this);
    backupPer->setObjectName(QStringLiteral("btnBackupSelectPathPer"));
    connect(backup, &QPushButton::clicked, this,
            [this] { browse(m_backupPath, QStringLiteral("请选择备份初始化路径：")); });
    connect(backupPer, &QPushButton::clicked, this,
            [this] { browse(m_backupPathPer, QStringLiteral("请选择私人备份初始化路径：")); });

    auto* grid = new QGridLayout;
    grid->setHorizontalSpacing(8);
    grid->setVerticalSpacing(4);
    grid->addWidget(label(QStringLiteral("共享数据库路径："), this), 0, 0);
    grid->addWidget(m_databasePath, 0, 1, 1, 2);
    grid->addWidget(label(QStringLiteral("备份初始化路径："), this), 1, 0);
    grid->addWidget(m_backupPath, 1, 1);
    grid->addWidget(backup, 1, 2);
    grid->addWidget(label(QStringLiteral("私人备份初始化路径："), this), 2, 0);
    grid->addWidget(m_backupPathPer, 2, 1);
    grid->addWidget(backupPer, 2, 2);
    grid->setColumnStretch(1, 1);
    return groupOf(QStringLiteral("路径"), grid, this);
}

SettingsForm SettingsWindow::form() const
{
    SettingsForm f;
    for (const auto& [key, b] : m_boxes)
        f.setChecked(key, b->isChecked());
    f.startInterface = chosen(m_start);
    f.autoSend = m_autoSend->isChecked();
    f.sendKey = static_cast<SettingsForm::SendKey>(chosen(m_sendKey));
    f.followPosition = chosen(m_follow);
    f.sort = chosen(m_sort);
    if (const int size = chosen(m_font); size > 0)
        f.fontSize = FontPreset::of(static_cast<FontSize>(size - 1)).settingValue();
    f.databasePath = m_databasePath->text();
    f.backupPath = m_backupPath->text();
    f.backupPathPer = m_backupPathPer->text();
    f.customWindows = m_customWindows->text();
    return f;
}

void SettingsWindow::showForm(const SettingsForm& f)
{
    for (const auto& [key, b] : m_boxes)
        b->setChecked(f.checked(key));
    choose(m_start, f.startInterface);
    m_autoSend->setChecked(f.autoSend);
    choose(m_sendKey, static_cast<int>(f.sendKey));
    choose(m_follow, f.followPosition);
    choose(m_sort, f.sort);
    choose(m_font, f.fontSize.isEmpty()
                       ? 0
                       : static_cast<int>(FontPreset::fromSetting(f.fontSize).size) + 1);
    m_databasePath->setText(f.databasePath);
    m_backupPath->setText(f.backupPath);
    m_backupPathPer->setText(f.backupPathPer);
    m_customWindows->setText(f.customWindows);
}

QLineEdit* SettingsWindow::fieldBox(SettingsCheck::Field field) const
{
    switch (field) {
    case SettingsCheck::Field::DatabasePath:
        return m_databasePath;
    case SettingsCheck::Field::BackupPath:
        return m_backupPath;
    case SettingsCheck::Field::BackupPathPer:
        return m_backupPathPer;
    case SettingsCheck::Field::CustomWindows:
        return m_customWindows;
    case SettingsCheck::Field::None:
        break;
    }
    return nullptr;
}

void SettingsWindow::confirm()
{
    const SettingsForm values = form();
    const SettingsCheck::Verdict verdict = SettingsCheck::check(values, m_programFolder);
    if (!verdict.accepted()) {
        Dialogs::message(this, verdict.refusal);
        if (QLineEdit* edit = fieldBox(verdict.field)) {
            edit->setFocus();
            edit->selectAll();
        }
        return;
    }
    for (const auto& [key, value] : values.entries()) {
        if (Result<void> written = m_settings.setValue(key, value); !written) {
            Dialogs::message(this, written.message());
            return;
        }
    }
    if (m_autoStart && m_autoStartBox->isChecked() != m_autoStart->isEnabled()) {
        if (Result<void> done = m_autoStart->setEnabled(m_autoStartBox->isChecked()); !done) {
            Dialogs::message(this, done.message());
            return;
        }
    }
    Dialogs::message(this, QStringLiteral("设置成功!"));
    accept();
}

void SettingsWindow::setAutoStart(AutoStart* autoStart)
{
    m_autoStart = autoStart;
    m_autoStartBox->setVisible(autoStart != nullptr);
    m_autoStartBox->setChecked(autoStart && autoStart->isEnabled());
}

void SettingsWindow::restoreDefaults()
{
    showForm(SettingsForm::defaults());
    m_autoStartBox->setChecked(false);
}

void SettingsWindow::browse(QLineEdit* edit, const QString& prompt)
{
    const QString start = QDir(m_programFolder).filePath(edit->text().trimmed());
    const QString folder = m_folders.chooseFolder(this, prompt, start);
    if (!folder.isEmpty())
        edit->setText(folder);
}

void SettingsWindow::showForeground(const WindowInfo& window)
{
    if (!window.isValid() || window.processId == QCoreApplication::applicationPid())
        return;
    m_foregroundClassName = window.className.trimmed();
    m_foregroundClass->setText(QStringLiteral("类名：") + m_foregroundClassName);
    m_foregroundTitle->setText(QStringLiteral("标题：") + window.title);
    m_foregroundClass->setToolTip(m_foregroundClassName);
    m_foregroundTitle->setToolTip(window.title);
}

void SettingsWindow::addForegroundRule()
{
    const QString name = m_foregroundClassName;
    if (name.isEmpty())
        return;
    QStringList rules = m_customWindows->text().split(QLatin1Char(';'), Qt::SkipEmptyParts);
    for (QString& rule : rules)
        rule = rule.trimmed();
    if (rules.contains(name, Qt::CaseInsensitive))
        return;
    rules << name;
    m_customWindows->setText(rules.join(QLatin1Char(';')));
}

void SettingsWindow::openHotKeyWindow()
{
    HotKeyWindow window(m_hotKeys, this);
    window.exec();
}
