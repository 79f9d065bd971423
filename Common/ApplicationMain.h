#pragma once

#include <QApplication>

#include <exception>
#include <functional>
#include <map>

namespace VeldaClient {

// The viewer's QApplication: a table of global key handlers consulted before
// normal delivery, and a guard that turns any exception escaping an event
// handler into a dialog that offers to go on or to close.
class ApplicationMain : public QApplication {
    Q_OBJECT

public:
    using KeyHandler = std::function<bool(QObject* receiver, QEvent* event)>;

    ApplicationMain(int& argc, char** argv);
    ~ApplicationMain() override;

    // Handlers of one key run in the order of registration.
    void registerKeyHandler(int key, KeyHandler handler);
    // A taker of a key is asked before the handlers: when one takes the key
    // (returns true), the key is consumed and no handler of it runs. The
    // review tools take Escape this way while it still has something of
    // theirs to end.
    void registerKeyTaker(int key, KeyHandler taker);

    bool notify(QObject* receiver, QEvent* event) override;

    // The dialog's main text: longer texts are cut to 512 characters + "...".
    static QString errorText(const std::exception* error);
    // "发送事件 %1 至 %2 (%3)": the static event type, the receiver's name and
    // its dynamic type.
    static QString traceText(QObject* receiver);

protected:
    // `error` is null for an exception of unknown type.
    virtual void _exceptionHanlder(QObject* receiver, QEvent* event, std::exception* error);

private:
    std::multimap<int, KeyHandler> keyHandlers;
    std::multimap<int, KeyHandler> keyTakers;
};

} // namespace VeldaClient
