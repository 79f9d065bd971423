#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace VeldaPack {

// Runs a task for every index in child processes, one per core: the
// library's geometry code keeps process-wide state and is not safe to run
// on threads, and a child that dies takes only its current index with it.
// Children are forked after the model is loaded, so they share it copy on
// write; each writes its results to its own temporary file.
class ForkedWork {
public:
    // The result of one index as bytes.
    using Task = std::function<std::string(uint32_t index)>;
    // Receives each result in the parent, in no particular order.
    using Receiver = std::function<void(uint32_t index, const std::string& bytes)>;

    struct Outcome {
        std::vector<uint32_t> crashed;  // indices whose child died on them
        uint64_t childPeakKiB = 0;      // the largest child's peak resident memory
    };

    // Told now and then how many indices the children have taken, while
    // they run.
    using Progress = std::function<void(uint32_t taken)>;

    // Throws PackError when children cannot be started.
    static Outcome run(uint32_t count, unsigned processes, const Task& task, const Receiver& receive,
                       const Progress& progress = Progress());
};

} // namespace VeldaPack
