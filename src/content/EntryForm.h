#pragma once

#include "content/EntryValues.h"
#include "content/KindDescriptor.h"

#include <QMap>
#include <QWidget>
#include <functional>
#include <optional>

class ClickLabel;
class ContentServices;
class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;

// The fields of one kind, built from its descriptor, with the controls named as the kind names
// them. The list window, the New and Edit dialogs and the View window all show this form.
class EntryForm : public QWidget {
    Q_OBJECT
public:
    EntryForm(const KindDescriptor& kind, ContentServices& services, QWidget* parent = nullptr);

    const KindDescriptor& kind() const { return m_kind; }
    EntryValues values() const;
    // The values for adding what the form shows as a new row: a picture or file shown from
    // the loaded row goes into the new row as well.
    EntryValues valuesForNewRow() const;
    // The row being edited or shown; 0 for a new one.
    qint64 rowId() const { return m_id; }

    // Shows a row as EntryWriter::load reads it.
    void load(const Row& row);
    // Empties every field and forgets the row.
    void clear();
    void clearName();
    QLineEdit* nameBox() const;
    // Chooses a picker's row, as when a dialog is opened from a category of the panel.
    void preset(const QString& column, qint64 id);
    // Reads the pickers' rows again, keeping what they show.
    void reloadPickers();
    // The View window's form: nothing can be changed, the copy and open commands stay.
    void setReadOnly(bool readOnly);

    // The picture or file bytes shown: newly chosen or stored.
    std::optional<QByteArray> attachmentBytes() const;

    // Opens the folder that holds the tool's path (btnOpenPath).
    void openToolFolder();

signals:
    void nameEdited(const QString& text);

private:
    QWidget* buildField(const FieldDef& field);
    QWidget* buildPicture(const FieldDef& field);
    QWidget* buildFile(const FieldDef& field);
    QWidget* buildToolPath(const FieldDef& field);
    QCheckBox* buildExtNameBox(const FieldDef& field);
    void fillPicker(const FieldDef& field, qint64 select);
    void selectInPicker(QComboBox* box, qint64 id);
    void refreshDependents(const QString& column);
    void choosePicture();
    void chooseFile();
    // Reads a chosen picture or file into the form unless `refuse` (by its size) says no.
    std::optional<QString>
    takeAttachment(const QString& title, const QString& filter,
                   const std::function<std::optional<QString>(qint64)>& refuse);
    void chooseTool();
    void viewPicture();
    void clearAttachment();
    void showPicture(const QByteArray& bytes);
    void showFileLabel();

    const KindDescriptor& m_kind;
    ContentServices& m_services;
    qint64 m_id = 0;
    bool m_readOnly = false;
    QMap<QString, QLineEdit*> m_lines;
    QMap<QString, QPlainTextEdit*> m_texts;
    QMap<QString, QCheckBox*> m_checks;
    QMap<QString, QComboBox*> m_pickers;
    QComboBox* m_toolKind = nullptr;
    ClickLabel* m_photo = nullptr;
    ClickLabel* m_view = nullptr;
    ClickLabel* m_clear = nullptr;
    QLabel* m_fileLabel = nullptr;
    QPushButton* m_select = nullptr;
    QPushButton* m_clearFile = nullptr;
    QCheckBox* m_extName = nullptr;
    Attachment m_attachment;
    bool m_hasStored = false;
    QString m_storedExt;
    QString m_storedFileName;
};
