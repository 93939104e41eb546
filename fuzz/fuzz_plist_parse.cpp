// Property-list reading on arbitrary bytes, XML and binary; whatever parses is written out
// again.
#include "FuzzSupport.h"
#include "foundation/PlistFile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    prepareFuzzing();
    const std::optional<QVariant> value =
        PlistFile::parse(QByteArray(reinterpret_cast<const char*>(data), qsizetype(size)));
    if (value)
        PlistFile::toXml(*value);
    return 0;
}
