#include "Platform/Print/BlankPDF.h"

#include "Platform/Print/QPDFHeaders.h"

#include <qpdf/QPDFPageDocumentHelper.hh>
#include <qpdf/QPDFPageObjectHelper.hh>
#include <qpdf/QPDFWriter.hh>

NSData blankPDF(NSSize size)
{
    QPDF pdf;
    pdf.emptyPDF();
    QPDFObjectHandle page = QPDFObjectHandle::newDictionary({{"/Type", QPDFObjectHandle::newName("/Page")},
        {"/MediaBox", QPDFObjectHandle::newArray(QPDFObjectHandle::Rectangle(0, 0, size.width, size.height))},
        {"/Resources", QPDFObjectHandle::newDictionary()}});
    QPDFPageDocumentHelper(pdf).addPage(QPDFPageObjectHelper(pdf.makeIndirectObject(page)), false);
    QPDFWriter writer(pdf);
    writer.setOutputMemory();
    writer.write();
    const std::shared_ptr<Buffer> written(writer.getBufferSharedPointer());
    return NSData(std::span(reinterpret_cast<const std::byte*>(written->getBuffer()), written->getSize()));
}
