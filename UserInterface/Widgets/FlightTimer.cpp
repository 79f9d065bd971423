#include "UserInterface/Widgets/FlightTimer.h"

#include "Common/GraphicsContext.h"
#include "UserInterface/Widgets/CameraFlight.h"

#include <algorithm>

namespace VeldaClient {

FlightTimer::FlightTimer(Step step, Going going, QObject* parent)
    : QObject(parent), step_(std::move(step)), going_(std::move(going))
{
    timer_.setTimerType(Qt::PreciseTimer);
    timer_.setInterval(CameraFlight::kStepMilliseconds);
    connect(&timer_, &QTimer::timeout, this, &FlightTimer::advance);
}

FlightTimer::~FlightTimer()
{
    if (running_ && hub_)
        hub_->flightEnded();
}

void FlightTimer::start()
{
    if (running_)
        return;
    running_ = true;
    next_ = 0;
    hub_ = GraphicsContext::instance();
    hub_->flightStarted();
    clock_.start();
    timer_.start();
    advance();
}

void FlightTimer::advance()
{
    const qint64 due = std::min<qint64>(CameraFlight::kSteps, clock_.elapsed() / CameraFlight::kStepMilliseconds + 1);
    while (running_ && next_ < due) {
        if (going_ && !going_()) {
            finish();
            return;
        }
        const int index = next_++;
        step_(index);
        emit stepped(index);
    }
    if (running_ && next_ >= CameraFlight::kSteps)
        finish();
}

void FlightTimer::finish()
{
    timer_.stop();
    running_ = false;
    if (hub_)
        hub_->flightEnded();
    emit finished();
}

} // namespace VeldaClient
