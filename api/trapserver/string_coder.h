// String coders: texts and integers joined by commas into one text, and taken out of it again. Nothing is quoted or
// escaped: what holds a comma is two fields when it is read.
//
// The order of the virtual operations is a contract, as is who releases what.
#pragma once

#include <cstddef>
#include <string>

namespace NEC {

// The text that was built, or what is still to be read of it.
class CStringCoderImpl {
public:
    CStringCoderImpl() = default;
    explicit CStringCoderImpl(const std::string& text) : text_(text) {}
    virtual ~CStringCoderImpl();
    CStringCoderImpl(const CStringCoderImpl&) = delete;
    CStringCoderImpl& operator=(const CStringCoderImpl&) = delete;

    virtual std::string str() const;
    // How many fields there are: none in an empty text, otherwise one more than commas.
    virtual int count() const;

    // Adds a field. An empty text becomes the field, so that empty fields at the beginning are lost.
    void append(const std::string& field);
    // Takes the first field away; an empty one when nothing is left.
    void extract(std::string& field);

private:
    std::string text_;
    std::size_t read_ = 0;  // octets of text_ that were read: taking them out each time would move all the others
};

// What both coders are. It does not release the implementation: its constructor makes none, those who derive from it
// own theirs.
class CStringCoder {
public:
    CStringCoder() = default;
    CStringCoder(const CStringCoder&) = delete;
    CStringCoder& operator=(const CStringCoder&) = delete;

    // Of the implementation; an empty text and 0 without one.
    virtual std::string str() const;
    virtual int count() const;
    virtual ~CStringCoder();

protected:
    CStringCoderImpl* impl_ = nullptr;
};

class CCommaEncoder : public CStringCoder {
public:
    CCommaEncoder();
    ~CCommaEncoder() override;

    CCommaEncoder& operator<<(const std::string& field);
    CCommaEncoder& operator<<(int field);
};

// Past the last field there are empty texts and zeros.
class CCommaDecoder : public CStringCoder {
public:
    explicit CCommaDecoder(const std::string& text);
    ~CCommaDecoder() override;

    CCommaDecoder& operator>>(std::string& field);
    // What strtol reads of the field, cut to its low 32 bits; 0 for what is no number.
    CCommaDecoder& operator>>(int& field);
};

}  // namespace NEC
