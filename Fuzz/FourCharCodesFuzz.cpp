// Four-character codes: every code comes back from its text, and every text of four units that Mac OS Roman has from its code.

#include "FuzzSupport.h"
#include "QVRException.h"
#include "QVRFunctions.h"
#include "QVRStringCreation.h"
#include "QVRStringFourCharCodes.h"

namespace {

class SilentLog : public QVRLoggingDelegate {
    void logString(const NSString&) override { }
};

}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    static SilentLog log;
    QVRFunctions::setLoggingDelegate(&log);

    uint32_t code = 0;
    for (size_t index = 0; index < size && index < 4; ++index)
        code = code << 8 | bytes[index];
    const NSString shown = qvrStringWithFourCharCode(code);
    fuzz::require(shown.length() == 4, "a code is shown by four units");
    fuzz::require(qvrFourCharCodeValue(shown) == code, "a code comes back from its text");
    fuzz::require(qvrIsUnknownCode(shown) == (code == 0), "only zero is unknown");

    const NSString text = fuzz::textOf(bytes, size);
    bool isAsserted = false;
    try {
        const uint32_t value = qvrFourCharCodeValue(text);
        if (qvrDataUsingEncoding(text, NSMacOSRomanStringEncoding))
            fuzz::require(qvrStringWithFourCharCode(value) == text, "a text comes back from its code");
        else
            fuzz::require(value == 0, "a text that cannot be encoded has no code");
    } catch (const QVRException&) {
        isAsserted = true;
    }
    fuzz::require(isAsserted == (text.length() != 4), "any other length is a programming error");
    return 0;
}
