#pragma once

#include "formats/VeldaDocNode.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Velda {

// Inflates one zlib stream into a buffer of the size its file declares. An
// incomplete stream is not an error here: what arrived stands in the first
// `produced` bytes, and readers read no further (the rest is undefined), so
// a cut stream fails at the parse. A declared size that no zlib stream of
// this length can produce is refused, so a lying header cannot claim
// gigabytes.
struct Inflated {
    std::unique_ptr<unsigned char[]> bytes;
    size_t size = 0;
    size_t produced = 0;
};
bool inflateDeclared(const unsigned char* stream, size_t streamSize, uint32_t declaredSize, Inflated& out,
                     std::string* error = nullptr);

// Bundle files (.me, .mt): i16 document count, two unread bytes, u32
// uncompressed size, then one zlib stream of documents back to back.
struct BundleHeader {
    int16_t documents = 0;
    uint32_t uncompressedSize = 0;
};
const size_t kBundleHeaderSize = 8;
bool readBundleHeader(const unsigned char* file, size_t size, BundleHeader& header);

// Receives each document of a bundle in order with the bytes it took.
using BundleVisitor = std::function<void(int index, std::unique_ptr<VeldaDocNode> root, uint32_t consumed)>;

// Unpacks a bundle and hands each document to `visit`. Stops at the first
// document that does not parse (a corrupt or short stream keeps the ones
// before it). Returns the number of documents handed over; -1 when the file
// is not a bundle at all, with `error` saying why.
int unpackBundle(const unsigned char* file, size_t size, const BundleVisitor& visit, std::string* error = nullptr);

// Index files: u32 uncompressed size, then one zlib stream holding one
// document.
const size_t kIndexHeaderSize = 4;

// Writers for tools: the documents in the clear (writeDocumentClear), packed
// as the readers above expect. Throw std::length_error where a document does
// not fit the format, std::runtime_error when zlib fails.
std::vector<unsigned char> packIndex(const VeldaDocNode& root);
// The same for a document already written (in the clear).
std::vector<unsigned char> packIndexBytes(const std::vector<unsigned char>& plain);
std::vector<unsigned char> packBundle(const std::vector<const VeldaDocNode*>& documents);
// The same for documents already written back to back by writeDocumentClear.
std::vector<unsigned char> packBundleBytes(size_t documents, const std::vector<unsigned char>& plain);

} // namespace Velda
