#pragma once

#include "QVRFunctions.h"

#include <vector>

namespace support {

// While it lives, what the library's assertions and functions log is kept here and goes nowhere else.
class KeptLog : public QVRLoggingDelegate {
public:
    KeptLog() { QVRFunctions::setLoggingDelegate(this); }
    KeptLog(const KeptLog&) = delete;
    KeptLog& operator=(const KeptLog&) = delete;
    ~KeptLog() override { QVRFunctions::setLoggingDelegate(nullptr); }
    void logString(const NSString& string) override { lines.push_back(string); }

    std::vector<NSString> lines;
};

}
