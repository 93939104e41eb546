#pragma once

#include <QByteArray>
#include <QString>

#include <cstddef>

struct evp_md_ctx_st;

// The running state of an MD5, SHA-1 or SHA-256 computation. Copies are independent: finishing one
// leaves the others usable, so a digest can be read in the middle of a stream.
class BMDigestContext {
public:
    enum class Algorithm { MD5, SHA1, SHA256 };

    explicit BMDigestContext(Algorithm algorithm);
    ~BMDigestContext();
    BMDigestContext(const BMDigestContext& other);
    BMDigestContext& operator=(const BMDigestContext& other);
    BMDigestContext(BMDigestContext&& other) noexcept;
    BMDigestContext& operator=(BMDigestContext&& other) noexcept;

    Algorithm algorithm() const { return m_algorithm; }
    void update(const void* data, size_t size);
    void update(const QByteArray& data) { update(data.constData(), size_t(data.size())); }
    // The digest of everything added so far, computed on a copy.
    QByteArray digest() const;
    QString hexDigest() const;

private:
    Algorithm m_algorithm;
    evp_md_ctx_st* m_context = nullptr;
};
