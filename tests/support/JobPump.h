#pragma once

namespace VeldaTest {

// Hands finished jobs to their finish one at a time, as the frame loop
// does, until nothing is queued, running or waiting, or the time is up.
// True when the queues ran empty. Generous by default: shared CI machines
// are slow, and sanitizer builds slower still.
bool pumpJobs(double seconds = 120.0);

// Waits (without finishing anything) until `count` jobs have finished
// their run; true when they have.
bool waitForFinished(unsigned count, double seconds = 120.0);

} // namespace VeldaTest
