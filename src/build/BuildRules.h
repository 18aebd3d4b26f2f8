#pragma once
// The records of the build rules: the association table (which command makes which file from
// a file of an extension) and the nodes of the build graph. Every file known to the build,
// source or product, is one BuildTarget; a target that is someone's source stands both in the
// graph and in that someone's Sources, so targets are shared.

#include "foundation/KeyedCollection.h"

#include <memory>
#include <string>

namespace bx {

struct BuildAssociation {
    std::string From; // the extension of a file, without the dot: the key
    std::string With; // the command that makes the next file from such a file
    std::string To;   // the extension of the product; empty when there is none
};

class BuildAssociations : public KeyedCollection<BuildAssociation> {
public:
    // Creates, inserts and returns the record; a taken key is the duplicate-key error.
    std::shared_ptr<BuildAssociation> Add(const std::string& from, const std::string& with,
                                          const std::string& to);
    using KeyedCollection::Item;
};

class BuildTargets;

struct BuildTarget {
    std::string OutputPath; // the file, relative to the working folder when below it; the key
    std::string Make;       // the command that makes it; empty for a plain source
    std::shared_ptr<BuildTargets> Sources; // the files it is made from, or null
};

class BuildTargets : public KeyedCollection<BuildTarget> {
public:
    // Creates a target with these values, inserts it under output and returns it. The sources
    // reference is taken over as it is, also when null.
    std::shared_ptr<BuildTarget> Add(std::shared_ptr<BuildTargets> sources, const std::string& make,
                                     const std::string& output);
    // Inserts an existing target under its OutputPath and returns it.
    std::shared_ptr<BuildTarget> AddItem(std::shared_ptr<BuildTarget> target);
};

} // namespace bx
