#pragma once

#include "Platform/Foundation/FileDescriptor.h"
#include "Platform/Foundation/NSError.h"
#include "Platform/Foundation/RunLoopFileSource.h"
#include "Tools/ResultRecord.h"

#include <chrono>
#include <csignal>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

// What ends a capture from outside: the signals by which a process is asked to end (SIGTERM, SIGINT, SIGHUP), and the host's time
// limit. The run then gives an error record, NSURLErrorCancelled or NSURLErrorTimedOut, with the address and without title and
// path, and throws RunEnded out of the run of the run loop that is under way. Where no run loop runs because the main thread is
// stuck, a thread of this object's own gives the record some seconds later and ends the process with status 0.
//
// Made and destroyed on the main thread; one per process at a time. While it lives, the three signals are blocked in this thread
// and in those that it starts, and only the first answer of all threads is given.
class EndRequests {
public:
    // `address` is the record's where nobody knows better.
    explicit EndRequests(NSString address);
    EndRequests(const EndRequests&) = delete;
    EndRequests& operator=(const EndRequests&) = delete;
    ~EndRequests();

    // Ends the capture `seconds` after this object was made, at once when that has passed already; 0 or less for no limit.
    void setTimeLimit(int64_t seconds);
    // Asked on the main thread for the record's address; what it uses must outlive this object's last run of the run loop.
    void setAddressSource(std::function<NSString()> source) { _addressSource = std::move(source); }
    // Blocks the three signals for good, so that none ends the process before or after the life of such an object.
    static void blockSignals();

private:
    void watch();
    [[nodiscard]] std::optional<NSError> waitForRequest();
    [[nodiscard]] NSError errorFor(int64_t code, const NSString& reason) const;
    void finish();

    const NSString _address;
    std::function<NSString()> _addressSource;
    SingleAnswer _singleAnswer;
    std::chrono::steady_clock::time_point _start = std::chrono::steady_clock::now();
    sigset_t _previousSignals;
    FileDescriptor _signals;    // readable when a signal came
    FileDescriptor _changes;    // readable when the limit was set or this object goes away; written by the main thread
    FileDescriptor _requests;   // readable when the capture is to end; written by the watching thread
    std::mutex _mutex;          // guards what follows
    std::optional<std::chrono::steady_clock::time_point> _limit;
    NSError _error;
    bool _isGoingAway = false;
    std::unique_ptr<RunLoopFileSource> _source;
    std::thread _thread;
};
