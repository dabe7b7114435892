#include "content/EntryViewWindow.h"

#include "content/ContentServices.h"
#include "content/EntryForm.h"
#include "data/Columns.h"
#include "send/SendAction.h"
#include "send/TextComposer.h"
#include "widgets/Dialogs.h"

#include <QClipboard>
#include <QGridLayout>
#include <QGuiApplication>
#include <QImage>
#include <QPushButton>

using namespace Qt::StringLiterals;

EntryViewWindow::EntryViewWindow(const KindDescriptor& kind, ContentServices& services,
                                 const Row& row, QWidget* parent)
    : FramelessDialog(parent), m_kind(kind), m_services(services), m_row(row),
      m_form(new EntryForm(kind, services, this))
{
    setObjectName(m_kind.windowName(u"View"_s));
    setCaption(m_kind.viewCaption());
    setMinimumWidth(460);
    m_form->load(row);
    m_form->setReadOnly(true);
    bodyLayout()->addWidget(m_form);

    auto* buttons = new QGridLayout;
    int at = 0;
    auto place = [&](QPushButton* b) {
        b->setAutoDefault(false);
        buttons->addWidget(b, at / 3, at % 3);
        ++at;
    };
    for (const CopyButton& c : m_kind.copies) {
        auto* b = new QPushButton(c.caption, this);
        b->setObjectName(c.control);
        if (c.picture)
            b->setEnabled(row.value(Column::HasBlob).toBool());
        connect(b, &QPushButton::clicked, this, [this, &c] { copy(c); });
        place(b);
    }
    if (m_kind.extra == ListExtra::OpenPath) {
        auto* open = new QPushButton(u"打开路径"_s, this);
        open->setObjectName(u"btnOpenPath"_s);
        connect(open, &QPushButton::clicked, m_form, &EntryForm::openToolFolder);
        place(open);
    }
    auto* close = new QPushButton(u"关闭"_s, this);
    close->setObjectName(u"btnClose"_s);
    connect(close, &QPushButton::clicked, this, &QDialog::reject);
    place(close);
    bodyLayout()->addLayout(buttons);
}

void EntryViewWindow::copy(const CopyButton& button)
{
    QClipboard* clipboard = QGuiApplication::clipboard();
    if (button.picture) {
        const std::optional<QByteArray> bytes = m_form->attachmentBytes();
        const QImage image = bytes ? QImage::fromData(*bytes) : QImage();
        if (image.isNull())
            return;
        clipboard->setImage(image);
    } else {
        QStringList parts;
        for (const QString& column : button.columns)
            parts << m_row.value(column).toString();
        clipboard->setText(parts.join(TextComposer::lineBreak()));
    }
    Dialogs::message(this, button.message);
}
