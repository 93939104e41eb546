#include "BMDigest.h"

#include <new>
#include <openssl/evp.h>
#include <utility>

namespace {
const EVP_MD* digestOf(BMDigestContext::Algorithm algorithm) {
    switch (algorithm) {
    case BMDigestContext::Algorithm::MD5:
        return EVP_md5();
    case BMDigestContext::Algorithm::SHA1:
        return EVP_sha1();
    case BMDigestContext::Algorithm::SHA256:
        break;
    }
    return EVP_sha256();
}

EVP_MD_CTX* newContext() {
    EVP_MD_CTX* context = EVP_MD_CTX_new();
    if (!context)
        throw std::bad_alloc();
    return context;
}
} // namespace

BMDigestContext::BMDigestContext(Algorithm algorithm) : m_algorithm(algorithm), m_context(newContext()) {
    EVP_DigestInit_ex(m_context, digestOf(algorithm), nullptr);
}

BMDigestContext::~BMDigestContext() {
    EVP_MD_CTX_free(m_context);
}

BMDigestContext::BMDigestContext(const BMDigestContext& other)
    : m_algorithm(other.m_algorithm), m_context(newContext()) {
    EVP_MD_CTX_copy_ex(m_context, other.m_context);
}

BMDigestContext& BMDigestContext::operator=(const BMDigestContext& other) {
    if (this != &other) {
        m_algorithm = other.m_algorithm;
        EVP_MD_CTX_copy_ex(m_context, other.m_context);
    }
    return *this;
}

BMDigestContext::BMDigestContext(BMDigestContext&& other) noexcept
    : m_algorithm(other.m_algorithm), m_context(std::exchange(other.m_context, nullptr)) {
}

BMDigestContext& BMDigestContext::operator=(BMDigestContext&& other) noexcept {
    std::swap(m_algorithm, other.m_algorithm);
    std::swap(m_context, other.m_context);
    return *this;
}

void BMDigestContext::update(const void* data, size_t size) {
    if (size > 0)
        EVP_DigestUpdate(m_context, data, size);
}

QByteArray BMDigestContext::digest() const {
    EVP_MD_CTX* copy = newContext();
    EVP_MD_CTX_copy_ex(copy, m_context);
    unsigned char bytes[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_DigestFinal_ex(copy, bytes, &length);
    EVP_MD_CTX_free(copy);
    return QByteArray(reinterpret_cast<const char*>(bytes), int(length));
}

QString BMDigestContext::hexDigest() const {
    return QString::fromLatin1(digest().toHex());
}
