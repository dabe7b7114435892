#pragma once

#include <QApplication>
#include <QDialog>
#include <QElapsedTimer>
#include <QTimer>
#include <QWidget>
#include <functional>

// Acts on a window from inside its own modal loop: once a visible top-level widget with the
// given object name appears, `act` runs on it once. Should the window not appear, or stay open
// past the time limit, every open dialog is rejected so the modal loop ends and the test can
// fail instead of hanging.
class ModalDriver : public QObject {
public:
    ModalDriver(QString objectName, std::function<void(QWidget*)> act, int timeoutMs = 5000)
        : m_name(std::move(objectName)), m_act(std::move(act)), m_timeoutMs(timeoutMs)
    {
        m_clock.start();
        m_timer.setInterval(10);
        connect(&m_timer, &QTimer::timeout, this, &ModalDriver::poll);
        m_timer.start();
    }

    bool acted() const { return m_acted; }
    bool timedOut() const { return m_timedOut; }
    // What the window reported about itself when it appeared.
    bool wasModal() const { return m_wasModal; }

private:
    void poll()
    {
        QWidget* window = find();
        if (!m_acted && window) {
            m_acted = true;
            m_wasModal = window->isModal() && QApplication::activeModalWidget() == window;
            m_act(window);
            return;
        }
        if (m_acted && !window) {
            m_timer.stop();
            return;
        }
        if (m_clock.elapsed() > m_timeoutMs) {
            m_timedOut = true;
            m_timer.stop();
            for (QWidget* w : QApplication::topLevelWidgets()) {
                if (auto* dialog = qobject_cast<QDialog*>(w); dialog && dialog->isVisible())
                    dialog->reject();
            }
        }
    }

    QWidget* find() const
    {
        for (QWidget* w : QApplication::topLevelWidgets()) {
            if (w->objectName() == m_name && w->isVisible())
                return w;
        }
        return nullptr;
    }

    QString m_name;
    std::function<void(QWidget*)> m_act;
    int m_timeoutMs;
    QElapsedTimer m_clock;
    QTimer m_timer;
    bool m_acted = false;
    bool m_timedOut = false;
    bool m_wasModal = false;
};
