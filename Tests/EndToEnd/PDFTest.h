#pragma once

#include "EndToEnd/CaptureTest.h"

#include <map>
#include <string>
#include <vector>

// Runs of the tool that make a PDF, looked at with programs that share no code with it.
class PDFTest : public CaptureTest {
protected:
    PDFTest();

    [[nodiscard]] std::string pdfPath() const { return folder.pathOf("output/page.pdf"); }
    // A page at "/page.html" with this markup, printed on paper pages or, with "pdfSinglePage", on one.
    Captured print(const std::string& markup, const std::string& mode = "pdf");
    // Success, with the path of the PDF; the PDF is sound. Otherwise it throws.
    void expectPDF(const Captured& captured) const;

    // What pdfinfo tells, by its own names ("Title", "Pages", "Page size").
    [[nodiscard]] std::map<std::string, std::string> information() const;
    // Width and height of the first page in points, the page's own unit counted in.
    [[nodiscard]] std::pair<double, double> pageSize() const;
    // All texts in the order of the file.
    [[nodiscard]] std::string texts() const;
    // Where each word stands, in points from the upper left corner of its page.
    struct Word {
        std::string text;
        int page = 0;
        double left = 0, top = 0, right = 0, bottom = 0;
    };
    [[nodiscard]] std::vector<Word> words() const;
    // The numbers behind `prefix` in the order of the file: 1, 2 for "row-1 row-2".
    [[nodiscard]] std::vector<int> numbersAfter(const std::string& prefix) const;
    [[nodiscard]] static std::vector<int> numbersUpTo(int count);
    // The text of the file in qpdf's plain form.
    [[nodiscard]] std::string plainForm() const;
};
