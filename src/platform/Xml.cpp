#include "platform/Xml.h"

#include "platform/FileSystem.h"
#include "platform/Paths.h"

#include <pugixml.hpp>

namespace bx::platform {

namespace {

// Parsing keeps pugixml's defaults: entities and character references are decoded, CDATA is
// kept, line ends in text become "\n" as XML requires, and a raw tab or line end inside an
// attribute value reads as a blank. Values we write ourselves escape tab, CR and LF inside
// attributes as character references, so they come back exactly as they were set.
constexpr unsigned kParseOptions = pugi::parse_default;

// Our files carry no declaration and no indentation: the text is exactly the tree.
constexpr unsigned kFormat = pugi::format_raw | pugi::format_no_declaration;

class StringWriter : public pugi::xml_writer {
public:
    explicit StringWriter(std::string& out) : out_(out) {}
    void write(const void* data, size_t size) override {
        out_.append(static_cast<const char*>(data), size);
    }

private:
    std::string& out_;
};

// The path's components; empty components (a leading, doubled or final "/") are skipped, so
// "/A/B" and "A/B/" mean the same as "A/B".
std::vector<std::string> SplitPath(const std::string& path) {
    std::vector<std::string> parts;
    std::size_t start = 0;
    while (start <= path.size()) {
        std::size_t slash = path.find('/', start);
        if (slash == std::string::npos)
            slash = path.size();
        if (slash > start)
            parts.push_back(path.substr(start, slash - start));
        start = slash + 1;
    }
    return parts;
}

bool StepMatches(const pugi::xml_node& node, const std::string& step) {
    return node.type() == pugi::node_element && (step == "*" || step == node.name());
}

// Walks a slash path of element names from start. A step is an element name, "*" (any
// element) or "." (the node itself); anything else, XPath syntax included, is taken as a name
// and simply matches nothing. The walk goes depth-first through the children in order, so
// the results come in document order and the first match is found without building every
// level. When firstOnly is set the walk stops at that first match.
std::vector<pugi::xml_node> Walk(const pugi::xml_node& start, const std::string& path,
                                 bool firstOnly) {
    std::vector<pugi::xml_node> result;
    if (!start)
        return result;
    std::vector<std::string> steps = SplitPath(path);
    if (steps.empty())
        return result;

    struct Walker {
        const std::vector<std::string>& steps;
        bool firstOnly;
        std::vector<pugi::xml_node>& out;

        // Returns true when the walk is complete (firstOnly and found).
        bool Visit(const pugi::xml_node& node, std::size_t depth) {
            if (depth == steps.size()) {
                out.push_back(node);
                return firstOnly;
            }
            const std::string& step = steps[depth];
            if (step == ".")
                return Visit(node, depth + 1);
            for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling())
                if (StepMatches(child, step) && Visit(child, depth + 1))
                    return true;
            return false;
        }
    };
    Walker walker{steps, firstOnly, result};
    walker.Visit(start, 0);
    return result;
}

} // namespace

// --- XmlNode ---------------------------------------------------------------------------------

pugi::xml_node XmlNode::Pugi() const {
    return pugi::xml_node(static_cast<pugi::xml_node_struct*>(node_));
}

std::string XmlNode::Name() const {
    return Pugi().name();
}

bool XmlNode::HasAttribute(const std::string& name) const {
    return !IsNull() && Pugi().attribute(name.c_str());
}

std::optional<std::string> XmlNode::Attribute(const std::string& name) const {
    if (IsNull())
        return std::nullopt;
    pugi::xml_attribute attribute = Pugi().attribute(name.c_str());
    if (!attribute)
        return std::nullopt;
    return std::string(attribute.value());
}

std::string XmlNode::AttributeOr(const std::string& name, const std::string& fallback) const {
    return Attribute(name).value_or(fallback);
}

void XmlNode::SetAttribute(const std::string& name, const std::string& value) {
    pugi::xml_node node = Pugi();
    // Only elements carry attributes; an empty name would write a malformed file.
    if (node.type() != pugi::node_element || name.empty())
        return;
    pugi::xml_attribute attribute = node.attribute(name.c_str());
    if (!attribute)
        attribute = node.append_attribute(name.c_str());
    attribute.set_value(value.c_str());
}

XmlNode XmlNode::AppendElement(const std::string& name) {
    if (IsNull() || name.empty())
        return XmlNode();
    pugi::xml_node child = Pugi().append_child(name.c_str());
    return XmlNode(child.internal_object());
}

std::vector<XmlNode> XmlNode::Children() const {
    std::vector<XmlNode> children;
    for (pugi::xml_node child = Pugi().first_child(); child; child = child.next_sibling())
        if (child.type() == pugi::node_element)
            children.push_back(XmlNode(child.internal_object()));
    return children;
}

XmlNode XmlNode::SelectSingleNode(const std::string& path) const {
    std::vector<pugi::xml_node> found = Walk(Pugi(), path, true);
    return found.empty() ? XmlNode() : XmlNode(found.front().internal_object());
}

std::vector<XmlNode> XmlNode::SelectNodes(const std::string& path) const {
    std::vector<XmlNode> nodes;
    for (const pugi::xml_node& node : Walk(Pugi(), path, false))
        nodes.push_back(XmlNode(node.internal_object()));
    return nodes;
}

std::string XmlNode::Text() const {
    return Pugi().text().get();
}

void XmlNode::SetText(const std::string& text) {
    if (Pugi().type() != pugi::node_element)
        return;
    Pugi().text().set(text.c_str());
}

// --- XmlDocument -----------------------------------------------------------------------------

XmlDocument::XmlDocument() : doc_(std::make_unique<pugi::xml_document>()) {}

XmlDocument::~XmlDocument() = default;

bool XmlDocument::LoadFile(const std::string& path) {
    doc_->reset();
    std::optional<std::string> content = ReadFile(path);
    if (!content) {
        error_ = "Can't read the file " + ToNativePath(path);
        return false;
    }
    // The file's own byte-order mark (or its absence) decides the encoding, so a file saved as
    // UTF-16 by another tool still loads.
    pugi::xml_parse_result result =
        doc_->load_buffer(content->data(), content->size(), kParseOptions, pugi::encoding_auto);
    if (!result) {
        error_ = ToNativePath(path) + ": " + result.description() + " at offset " +
                 std::to_string(result.offset);
        // pugixml keeps what it parsed before the fault; a half tree must never be read.
        doc_->reset();
        return false;
    }
    error_.clear();
    return true;
}

bool XmlDocument::LoadText(const std::string& text) {
    doc_->reset();
    pugi::xml_parse_result result =
        doc_->load_buffer(text.data(), text.size(), kParseOptions, pugi::encoding_utf8);
    if (!result) {
        error_ = std::string(result.description()) + " at offset " + std::to_string(result.offset);
        doc_->reset();
        return false;
    }
    error_.clear();
    return true;
}

XmlNode XmlDocument::Root() const {
    return XmlNode(doc_->internal_object());
}

XmlNode XmlDocument::DocumentElement() const {
    return XmlNode(doc_->document_element().internal_object());
}

XmlNode XmlDocument::SelectSingleNode(const std::string& path) const {
    return Root().SelectSingleNode(path);
}

std::vector<XmlNode> XmlDocument::SelectNodes(const std::string& path) const {
    return Root().SelectNodes(path);
}

XmlNode XmlDocument::AppendElement(const std::string& name) {
    return Root().AppendElement(name);
}

std::string XmlDocument::ToText() const {
    std::string text;
    StringWriter writer(text);
    doc_->save(writer, "", kFormat, pugi::encoding_utf8);
    return text;
}

bool XmlDocument::SaveFile(const std::string& path, std::string* whyNot) const {
    return WriteFileAtomic(path, ToText(), whyNot);
}

} // namespace bx::platform
