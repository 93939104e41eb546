// The readers of the Mac metadata that drives and file servers keep beside or on a file, on
// arbitrary bytes: the AppleDouble header ("._NAME") and Samba's DOSATTRIB record. Neither
// may read outside its input, and what they find must come from it.
#include "FuzzSupport.h"
#include "foundation/AppleDouble.h"
#include "foundation/DosAttrib.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    prepareFuzzing();
    const QByteArrayView bytes(reinterpret_cast<const char*>(data), qsizetype(size));
    const std::optional<QByteArray> info = AppleDouble::finderInfo(bytes);
    if (info) {
        FUZZ_CHECK(info->size() == AppleDouble::finderInfoSize);
        FUZZ_CHECK(bytes.toByteArray().contains(*info));
    }
    // The first bytes of a larger file, as a bounded read gives them: whatever they answer,
    // the whole file answers the same.
    for (qsizetype prefix : {qsizetype(26), bytes.size() / 2, bytes.size() - 1}) {
        if (prefix < 0 || prefix >= bytes.size())
            continue;
        if (const std::optional<QByteArray> partial =
                AppleDouble::finderInfo(bytes.first(prefix), bytes.size()))
            FUZZ_CHECK(partial == info);
    }
    if (const std::optional<QDateTime> created = DosAttrib::createTime(bytes))
        FUZZ_CHECK(created->isValid());
    return 0;
}
