// Reading of SOAP documents by the local names of their elements: cameras take any prefixes and versions.
#pragma once

#include <optional>
#include <pugixml.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "cameras/camera_error.h"

namespace kvrecorder {

using SoapNode = pugi::xml_node;

// A document that lives as long as its nodes are looked at.
class SoapDocument {
public:
    // Throws CameraError for what is no XML. Document types and their entities are not looked at.
    explicit SoapDocument(std::string_view text);

    // What stands in the body; empty for a document without one. Throws SoapFault for a fault.
    SoapNode Body() const;

private:
    pugi::xml_document m_document;
};

// What a camera says of a request that it does not fulfil.
class SoapFault : public CameraError {
public:
    SoapFault(Fault fault, std::vector<std::string> codes)
        : CameraError(std::move(fault)), m_codes(std::move(codes)) {}

    bool Has(std::string_view code) const;
    bool IsLogin() const;
    // The camera does not know the request.
    bool IsUnknown() const;

private:
    std::vector<std::string> m_codes;  // local names, and the reason
};

std::string_view LocalName(const SoapNode& node);
// The first child of that name; empty if there is none.
SoapNode Child(const SoapNode& node, std::string_view name);
std::vector<SoapNode> Children(const SoapNode& node, std::string_view name);
// The first of that name at any depth below, but not too deep.
SoapNode Find(const SoapNode& node, std::string_view name);
std::vector<SoapNode> FindAll(const SoapNode& node, std::string_view name);
// An attribute by its local name.
std::string Attribute(const SoapNode& node, std::string_view name);
// Trimmed, and not too long.
std::string TextOf(const SoapNode& node);
std::optional<double> NumberOf(const std::string& text);
bool IsTrue(std::string_view text);

std::string EscapeXml(std::string_view text);

}  // namespace kvrecorder
