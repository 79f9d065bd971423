#include "UserInterface/Widgets/FrameScheduler.h"

#include <QEvent>

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace VeldaClient {

FrameScheduler::FrameScheduler(Source source, QObject* parent) : QObject(parent), source_(std::move(source))
{
    clock_.setSingleShot(true);
    connect(&clock_, &QTimer::timeout, this, &FrameScheduler::check);
    const char* fast = std::getenv("VELDA_FAST_NAVIGATION");
    fastNavigation_ = !(fast && std::strcmp(fast, "0") == 0);
}

float FrameScheduler::frameStarting()
{
    FrameSignature now = source_();
    changed_ = stale_ || !hasShown_ || now != shown_;
    stale_ = false;
    moving_ = (hasShown_ && !now.sameCamera(shown_)) || now.flying;
    shown_ = std::move(now);
    hasShown_ = true;

    lastScale_ = !continuous_ && fastNavigation_ && moving_ ? kMovingScale : 1.0f;
    if (lastScale_ < 1.0f) {
        ++reducedFrames_;
        settling_ = true;
        sinceMotion_.start();
    } else {
        settling_ = false;
    }
    return lastScale_;
}

void FrameScheduler::frameDrawn()
{
    ++frames_;
    sinceFrame_.start();
    if (continuous_) {
        clock_.start(kFrameInterval);
        return;
    }
    // A frame may change what it reads (finished jobs, the start framing):
    // that counts as a change too.
    const FrameSignature now = source_();
    if (changed_ || settling_ || now.busy || now.flying || now != shown_)
        clock_.start(kFrameInterval);
    else
        clock_.stop();
}

void FrameScheduler::check()
{
    if (continuous_) {
        emit frameWanted();
        return;
    }
    const FrameSignature now = source_();
    if (stale_ || !hasShown_ || now != shown_ || now.busy || now.flying) {
        emit frameWanted();
        return;
    }
    if (!settling_)
        return;
    const qint64 left = kSettleMilliseconds - sinceMotion_.elapsed();
    if (left <= 0)
        emit frameWanted();
    else
        clock_.start(static_cast<int>(left));
}

void FrameScheduler::poke()
{
    // Keeps the gap of the clock after the last frame.
    const qint64 gap = sinceFrame_.isValid() ? kFrameInterval - sinceFrame_.elapsed() : 0;
    const int delay = static_cast<int>(std::max<qint64>(0, gap));
    if (!clock_.isActive() || clock_.remainingTime() > delay)
        clock_.start(delay);
}

void FrameScheduler::invalidate()
{
    stale_ = true;
    poke();
}

bool FrameScheduler::eventFilter(QObject* watched, QEvent* event)
{
    switch (event->type()) {
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonRelease:
    case QEvent::MouseButtonDblClick:
    case QEvent::MouseMove:
    case QEvent::Wheel:
    case QEvent::KeyPress:
    case QEvent::KeyRelease:
    // Precedes a key press that a key handler of the application consumes.
    case QEvent::ShortcutOverride:
    case QEvent::Resize:
    case QEvent::Leave:
        poke();
        break;
    default:
        break;
    }
    return QObject::eventFilter(watched, event);
}

} // namespace VeldaClient
