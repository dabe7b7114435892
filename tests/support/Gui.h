#pragma once

#include "widgets/Dialogs.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QTest>

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

inline QStringList comboItems(const QComboBox* box)
{
    QStringList out;
    for (int i = 0; i < box->count(); ++i)
        out << box->itemText(i);
    return out;
}
