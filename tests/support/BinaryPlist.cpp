#include "BinaryPlist.h"

#include "foundation/PlistFile.h"

#include <plist/plist.h>

QByteArray binaryPlist(const QVariant& value) {
    const QByteArray xml = PlistFile::toXml(value);
    plist_t root = nullptr;
    plist_from_xml(xml.constData(), uint32_t(xml.size()), &root);
    char* binary = nullptr;
    uint32_t length = 0;
    plist_to_bin(root, &binary, &length);
    const QByteArray bytes(binary, qsizetype(length));
    plist_to_bin_free(binary);
    plist_free(root);
    return bytes;
}
