#pragma once

#include "QVRLogWriter.h"

// Hands each line to NSLog, whatever its length and area.
class QVRNSLogWriter : public QVRLogWriter {
public:
    [[nodiscard]] Class classObject() const override { return Class("QVRNSLogWriter"); }
    void writePrefix(const NSString& prefix, const NSString& message, const NSString& area) override;
};
