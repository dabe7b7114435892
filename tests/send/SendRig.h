#pragma once

#include "platform/fake/FakeDesktop.h"
#include "send/InputWindow.h"
#include "send/Sender.h"
#include "support/TestRoot.h"

#include <QSignalSpy>

// A chat window (100) and the panel (200) on a fake desktop, and a sender wired to them. The
// agent was typing in the chat window and has just clicked into the floating panel.
struct SendRig {
    static constexpr WindowId Chat = 100;
    static constexpr WindowId Panel = 200;

    TestRoot root;
    FakeDesktop desktop;
    InputWindow input{desktop, {QStringLiteral("客服Tavro(Quillmate)")}};
    Sender sender{*root.store, *root.settings, desktop, input, root.dir.path()};
    QSignalSpy done{&sender, &Sender::pasteFinished};

    SendRig()
    {
        desktop.addWindow({Chat, "ChatClient", "客户 张三", QRect(0, 0, 800, 600), true, false});
        desktop.addWindow(
            {Panel, "Quillmate", "客服Tavro(Quillmate)", QRect(800, 0, 300, 600), true, false});
        desktop.setForeground(Chat);
        desktop.setForeground(Panel);
    }

    void set(Setting s, const QString& v) { QVERIFY(root.settings->setValue(s, v).ok()); }

    // The outcome of the n-th paste (1-based) once it has finished.
    bool waitForPaste(int n, int timeoutMs = 5000)
    {
        return QTest::qWaitFor([&] { return done.count() >= n; }, timeoutMs);
    }
    bool pasted(int n) const { return done.at(n - 1).at(0).toBool(); }
    QString problem(int n) const { return done.at(n - 1).at(1).toString(); }
};
