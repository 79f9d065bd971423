#pragma once

#include "UserInterface/Widgets/FrameSignature.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <cstdint>
#include <functional>

namespace VeldaClient {

// Decides when the next frame is drawn. The 20 ms clock runs while the
// picture can change (the signature changed since the last frame, jobs are
// busy, a flight runs, a full frame is owed after a reduced one); otherwise
// it rests until an input event or a poke asks for a check, and a check
// that finds the drawn signature again draws nothing. While the camera
// moves, frames are drawn at half size, and one full frame follows 0.3 s
// after it stops. Continuous, it asks for a full frame every 20 ms.
class FrameScheduler : public QObject {
    Q_OBJECT

public:
    using Source = std::function<FrameSignature()>;

    static const int kFrameInterval = 20;
    static const int kSettleMilliseconds = 300;
    static constexpr float kMovingScale = 0.5f;

    // Fast navigation is on unless VELDA_FAST_NAVIGATION is "0".
    explicit FrameScheduler(Source source = &FrameSignature::capture, QObject* parent = nullptr);

    void setContinuous(bool continuous) { continuous_ = continuous; }
    bool continuous() const { return continuous_; }
    void setFastNavigation(bool on) { fastNavigation_ = on; }
    bool fastNavigation() const { return fastNavigation_; }

    // Before a frame: notes what it shows; answers the fraction of the
    // view's size to draw it at.
    float frameStarting();
    // After the frame: the clock runs on or rests.
    void frameDrawn();

    uint64_t frames() const { return frames_; }
    // Frames drawn at a reduced size so far.
    uint64_t reducedFrames() const { return reducedFrames_; }
    float lastScale() const { return lastScale_; }
    // No check is due: nothing will be drawn until an event asks.
    bool resting() const { return !clock_.isActive(); }

public slots:
    // Something may have changed the picture: check at the next turn of
    // the event loop.
    void poke();
    // The picture on the screen is stale whatever the signature says: the
    // next check draws.
    void invalidate();

signals:
    // Draw a frame.
    void frameWanted();

protected:
    // Input events of the whole application poke.
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void check();

    Source source_;
    QTimer clock_;
    QElapsedTimer sinceMotion_;  // from the last reduced frame
    QElapsedTimer sinceFrame_;   // from the end of the last frame
    FrameSignature shown_;   // what the last frame drew
    bool hasShown_ = false;
    bool stale_ = false;     // the next check draws, whatever the signature says
    bool changed_ = false;   // the last frame drew something new
    bool moving_ = false;    // the last frame saw the camera move
    bool settling_ = false;  // the last reduced frame still wants its full one
    bool continuous_ = false;
    bool fastNavigation_ = true;
    float lastScale_ = 1.0f;
    uint64_t frames_ = 0;
    uint64_t reducedFrames_ = 0;
};

} // namespace VeldaClient
