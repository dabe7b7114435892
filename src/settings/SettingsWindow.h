#pragma once

#include "platform/Desktop.h"
#include "settings/SettingsCheck.h"
#include "settings/SettingsForm.h"
#include "widgets/FramelessDialog.h"

#include <QList>
#include <QTimer>
#include <utility>

class AutoStart;
class FolderPicker;
class HotKeyManager;
class QButtonGroup;
class QCheckBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QRadioButton;
class Settings;

// `frmSet`: the [Set] keys as check boxes, option buttons and path boxes. btnComfirm checks the
// controls (SettingsCheck), writes every key through Settings and closes; the parts of the
// program that own a key follow its change signal. btnDefault shows the default file's values
// without writing them. Beside the custom chat-window rules, the class and title of the window
// in front, which a rule needs.
class SettingsWindow : public FramelessDialog {
    Q_OBJECT
public:
    // `programFolder` is what an empty path means and where relative paths start.
    SettingsWindow(Settings& settings, HotKeyManager& hotKeys, FolderPicker& folders,
                   QString programFolder, QWidget* parent = nullptr);

    // The controls as a form, and the form shown in the controls.
    SettingsForm form() const;
    void showForm(const SettingsForm& form);

    // Offers 开机自动启动, which is kept by the desktop rather than in config.ini.
    void setAutoStart(AutoStart* autoStart);

    void confirm();
    void restoreDefaults();

    // Another program's window in front; our own windows leave the readout as it is.
    void showForeground(const WindowInfo& window);

private:
    QGroupBox* buildStart();
    QGroupBox* buildSending();
    QGroupBox* buildHotKeys();
    QGroupBox* buildQuery();
    QGroupBox* buildChoices();
    QGroupBox* buildDocking();
    QGroupBox* buildOther();
    QGroupBox* buildPaths();

    QCheckBox* box(Setting key, const char* name, const QString& caption);
    QRadioButton* option(QButtonGroup* group, int id, const char* name, const QString& caption);
    QLineEdit* pathBox(const char* name);
    QLineEdit* fieldBox(SettingsCheck::Field field) const;
    void browse(QLineEdit* box, const QString& prompt);
    void addForegroundRule();
    void openHotKeyWindow();

    Settings& m_settings;
    HotKeyManager& m_hotKeys;
    FolderPicker& m_folders;
    QString m_programFolder;
    QList<std::pair<Setting, QCheckBox*>> m_boxes;
    QButtonGroup* m_start;
    QButtonGroup* m_sendKey;
    QButtonGroup* m_follow;
    QButtonGroup* m_sort;
    QButtonGroup* m_font;
    QCheckBox* m_autoSend = nullptr;
    QCheckBox* m_autoStartBox = nullptr;
    AutoStart* m_autoStart = nullptr;
    QLineEdit* m_databasePath = nullptr;
    QLineEdit* m_backupPath = nullptr;
    QLineEdit* m_backupPathPer = nullptr;
    QLineEdit* m_customWindows = nullptr;
    QLabel* m_foregroundClass = nullptr;
    QLabel* m_foregroundTitle = nullptr;
    QString m_foregroundClassName;
    QTimer m_foregroundTimer;
};
