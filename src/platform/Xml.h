#pragma once
// The XML document service used by the appliance and settings files: load from a path or a
// text, select nodes by a simple slash path ("Appliance/Code/Build/Step"), read and write
// attributes, append elements, and save with no declaration and no added white space through
// a temporary file and a rename.

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace pugi {
class xml_document;
class xml_node;
} // namespace pugi

namespace bx::platform {

class XmlNode {
public:
    XmlNode() = default;

    bool IsNull() const { return node_ == nullptr; }
    explicit operator bool() const { return !IsNull(); }
    std::string Name() const;

    bool HasAttribute(const std::string& name) const;
    // The attribute's text, or nothing when the attribute is absent.
    std::optional<std::string> Attribute(const std::string& name) const;
    // The attribute's text, or fallback when the attribute is absent.
    std::string AttributeOr(const std::string& name, const std::string& fallback) const;
    // Sets (creating when needed) an attribute; ignored on a null node.
    void SetAttribute(const std::string& name, const std::string& value);

    // Appends a new child element and returns it (a null node when this one is null).
    XmlNode AppendElement(const std::string& name);
    // Child elements in document order.
    std::vector<XmlNode> Children() const;
    // The first node (or all nodes) reached from here by a relative slash path.
    XmlNode SelectSingleNode(const std::string& path) const;
    std::vector<XmlNode> SelectNodes(const std::string& path) const;
    // The node's own text content.
    std::string Text() const;
    void SetText(const std::string& text);

private:
    friend class XmlDocument;
    explicit XmlNode(void* node) : node_(node) {}
    pugi::xml_node Pugi() const;
    void* node_ = nullptr; // pugixml's internal node handle
};

class XmlDocument {
public:
    XmlDocument();
    ~XmlDocument();
    XmlDocument(const XmlDocument&) = delete;
    XmlDocument& operator=(const XmlDocument&) = delete;

    // Replace the document's content. On failure the document is empty and ErrorText() says
    // why (with the offset of the fault for a parse error).
    bool LoadFile(const std::string& path);
    bool LoadText(const std::string& text);
    const std::string& ErrorText() const { return error_; }

    // The document node: its children are the top-level elements.
    XmlNode Root() const;
    // The first top-level element, or a null node.
    XmlNode DocumentElement() const;
    // Paths are absolute from the document ("Appliance/Code/Build/Step").
    XmlNode SelectSingleNode(const std::string& path) const;
    std::vector<XmlNode> SelectNodes(const std::string& path) const;
    // Appends a top-level element.
    XmlNode AppendElement(const std::string& name);

    // The document as text: no declaration, no added white space.
    std::string ToText() const;
    // Writes ToText() through the save routine (WriteFileAtomic). False when it can't be
    // written; whyNot (when given) then says why.
    bool SaveFile(const std::string& path, std::string* whyNot = nullptr) const;

private:
    std::unique_ptr<pugi::xml_document> doc_;
    std::string error_;
};

} // namespace bx::platform
