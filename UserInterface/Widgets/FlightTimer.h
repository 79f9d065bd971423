#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QTimer>

#include <functional>

namespace VeldaClient {

class GraphicsContext;

// Paces the 100 steps of a camera flight, one each 5 ms, on the GUI thread,
// so that nothing writes the camera while a frame reads it. Steps that fell
// due during a frame run at once, in order, so the flight keeps its half
// second however long frames take. The hub counts it as flying from start()
// to its end.
class FlightTimer : public QObject {
    Q_OBJECT

public:
    using Step = std::function<void(int index)>;
    using Going = std::function<bool()>;

    // `step` is given each index from 0 to 99; `going`, asked before each
    // step, ends the flight early when it answers false.
    FlightTimer(Step step, Going going, QObject* parent = nullptr);
    ~FlightTimer() override;

    // Takes step 0 at once, the others as they fall due.
    void start();
    bool running() const { return running_; }
    int stepsTaken() const { return next_; }

signals:
    void stepped(int index);
    // The last step is taken, or the flight was stopped.
    void finished();

private:
    void advance();
    void finish();

    Step step_;
    Going going_;
    QTimer timer_;
    QElapsedTimer clock_;
    QPointer<GraphicsContext> hub_;
    int next_ = 0;
    bool running_ = false;
};

} // namespace VeldaClient
