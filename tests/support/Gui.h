#pragma once

#include "widgets/Dialogs.h"

#include <QAbstractButton>
#include <QApplication>
#include <QComboBox>
#include <QDialog>
#include <QTest>
#include <QTimer>
#include <functional>

// The named child of a window; without it no test can go on, so the test program ends.
template <class T = QWidget> T* child(QWidget* window, const QString& name)
{
    T* found = window->findChild<T*>(name);
    if (!found)
        qFatal("no %s in the window", qPrintable(name));
    return found;
}

inline void click(QWidget* window, const QString& button)
{
    QTest::mouseClick(child<QAbstractButton>(window, button), Qt::LeftButton);
}

// The texts of the dialogs recorded since the last call.
inline QStringList shownTexts()
{
    QStringList texts;
    for (const ShownDialog& d : Dialogs::takeShown())
        texts << d.text;
    return texts;
}

// What the dialogs said when `button` of `window` was clicked.
inline QStringList says(QWidget* window, const QString& button)
{
    click(window, button);
    return shownTexts();
}

inline QStringList comboItems(const QComboBox* box)
{
    QStringList out;
    for (int i = 0; i < box->count(); ++i)
        out << box->itemText(i);
    return out;
}

// The object name of the modal window `open` shows; the window is closed again at once.
inline QString modalOpenedBy(const std::function<void()>& open)
{
    QString name;
    QTimer::singleShot(0, [&name] {
        if (auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget())) {
            name = dialog->objectName();
            dialog->reject();
        }
    });
    open();
    return name;
}
