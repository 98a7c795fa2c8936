#pragma once

#include "Platform/Foundation/NSDictionary.h"
#include "Platform/Foundation/NSGeometry.h"
#include "Platform/Foundation/NSString.h"
#include "Platform/Foundation/NSURL.h"

// Keys of the settings dictionary, with the types of their values.
inline const NSString NSPrintPaperSize = u"NSPaperSize";                         // string, as NSStringFromSize makes it
inline const NSString NSPrintTopMargin = u"NSTopMargin";                         // numbers, points
inline const NSString NSPrintLeftMargin = u"NSLeftMargin";                       //
inline const NSString NSPrintBottomMargin = u"NSBottomMargin";                   //
inline const NSString NSPrintRightMargin = u"NSRightMargin";                     //
inline const NSString NSPrintHorizontalPagination = u"NSHorizontalPagination";   // integers, NSPrintingPaginationMode
inline const NSString NSPrintVerticalPagination = u"NSVerticalPagination";       //
inline const NSString NSPrintHorizontallyCentered = u"NSHorizontallyCentered";   // booleans
inline const NSString NSPrintVerticallyCentered = u"NSVerticallyCentered";       //
inline const NSString NSPrintJobDisposition = u"NSJobDisposition";               // string, what becomes of the pages:
inline const NSString NSPrintSpoolJob = u"NSPrintSpoolJob";                      //   they go to a printer,
inline const NSString NSPrintSaveJob = u"NSPrintSaveJob";                        //   or into a file,
inline const NSString NSPrintJobSavingURL = u"NSJobSavingURL";                   // URL, this one

enum NSPrintingPaginationMode : int64_t {
    NSAutoPagination = 0,   // as many pages as it takes
    NSFitPagination = 1,    // scaled to fit one page
    NSClipPagination = 2    // what does not fit one page is left out
};

// How something is printed. What is not set has the usual value: the usual paper, margins of 72 points at the sides and 90 above
// and below, automatic pagination, centred, to a printer.
class NSPrintInfo {
public:
    // The settings of this system, with its usual paper as it was when they were first asked for. Not to be changed; take
    // a copy of its dictionary.
    [[nodiscard]] static const NSPrintInfo& sharedPrintInfo();
    NSPrintInfo();
    // Values of another type than the key's count as not set.
    explicit NSPrintInfo(const NSDictionary& dictionary);

    // All settings, as a dictionary of its own.
    [[nodiscard]] NSMutableDictionary dictionary() const { return _settings; }

    [[nodiscard]] NSSize paperSize() const;
    [[nodiscard]] double topMargin() const { return number(NSPrintTopMargin, 90); }
    [[nodiscard]] double leftMargin() const { return number(NSPrintLeftMargin, 72); }
    [[nodiscard]] double bottomMargin() const { return number(NSPrintBottomMargin, 90); }
    [[nodiscard]] double rightMargin() const { return number(NSPrintRightMargin, 72); }
    [[nodiscard]] NSPrintingPaginationMode horizontalPagination() const { return pagination(NSPrintHorizontalPagination); }
    [[nodiscard]] NSPrintingPaginationMode verticalPagination() const { return pagination(NSPrintVerticalPagination); }
    [[nodiscard]] bool isHorizontallyCentered() const { return flag(NSPrintHorizontallyCentered); }
    [[nodiscard]] bool isVerticallyCentered() const { return flag(NSPrintVerticallyCentered); }
    [[nodiscard]] NSString jobDisposition() const;
    // Absent when there is none.
    [[nodiscard]] NSURL jobSavingURL() const;

    void setPaperSize(NSSize size);
    void setTopMargin(double margin);
    void setLeftMargin(double margin);
    void setBottomMargin(double margin);
    void setRightMargin(double margin);
    void setHorizontalPagination(NSPrintingPaginationMode mode);
    void setVerticalPagination(NSPrintingPaginationMode mode);
    void setHorizontallyCentered(bool centered);
    void setVerticallyCentered(bool centered);

private:
    [[nodiscard]] double number(const NSString& key, double usual) const;
    [[nodiscard]] bool flag(const NSString& key) const;
    [[nodiscard]] NSPrintingPaginationMode pagination(const NSString& key) const;

    NSDictionary _settings = NSDictionary::dictionary();
};
