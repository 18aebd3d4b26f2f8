#pragma once
// The appliance editor's tree and list panes without their window: which nodes the tree
// holds (keys, texts, icons, tags), which pane a node shows, and the rows of each pane. The
// window rebuilds everything from these at every Update and keeps no state of its own, so
// whatever changes the appliance changes the model first and then asks for an Update.
//
// Keys. A node's key is "Appl", "Load", "View", or a three-character prefix ("BL ", "ML ",
// "DV ", "WI ", "PR ", "VW ") and the item's name. Rows of the load pane are "S " + segment
// or "L " + file "@" bank ":" address ">" offset (hexadecimal); rows of the view pane are the
// view's name; rows of the system pane the property's key. UI thread only.

#include <cstdint>
#include <string>
#include <vector>

namespace bx {

class Appliance;
class GlobalSettings;
struct View;

struct TreeNode {
    std::string Key;
    std::string Parent; // the parent node's key; "" for the root
    std::string Text;
    std::string Icon;
    std::string SelectedIcon; // the icon while the node is selected; "" for the same
    std::string Tag;
    bool Bold = false;
    bool Expanded = false;
};

struct PaneRow {
    std::string Key;
    std::string Icon;
    std::vector<std::string> Cells; // the row's text first, then one text per further column
    bool Bold = false;
    bool Checked = false; // the wiring pane's check mark
};

enum class Pane { None, System, Load, View, File, Wiring, Params };

// The column captions of a pane, in order (the object names of lvwWiring's columns are
// Pinset, PinsetMask, Direction, Port and PortMask).
std::vector<std::string> PaneColumns(Pane pane);

// The pane a node shows: by its key ("Appl", "Load", "View"), else by its tag.
Pane PaneOfNode(const std::string& key, const std::string& tag);

// The item's name in a prefixed key: the text from the fourth character on ("" when shorter).
std::string NodeName(const std::string& key);

// Every node, parents before their children. The root's text is the appliance's Title; the
// sources of each load image's target are listed once for every image that holds them.
std::vector<TreeNode> TreeNodes(Appliance& appliance);

// lvwSystem: model, CPU, clock, boot vector, then one row per option of the body (none
// without settings or an unknown body). An option behind the eighth shows its DisableName.
std::vector<PaneRow> SystemRows(const Appliance& appliance, const GlobalSettings* settings);

// lvwLoad: the segments, then the load images that aren't built from anything. Works out
// the appliance's next free load place on the way (NextBank, NextAddress): it starts at bank 0
// and BankStart, and goes behind the end of every image that ends later.
std::vector<PaneRow> LoadRows(Appliance& appliance);

// lvwView: one row per view, "Active" and bold for the active one, "Idle" for the others.
std::vector<PaneRow> ViewRows(Appliance& appliance, const View* active);

// lvwFile for the file of a "BL " or "ML " node: the steps that make it, from the first
// source files to the file itself. Empty for a file that isn't built from anything.
std::vector<PaneRow> FileRows(Appliance& appliance, const std::string& file);

// The files a person opens from a node of the tree: the node's file when no step makes it,
// else the source files it is built from (an object's assembly source rather than the object).
std::vector<std::string> SourceFilesOf(Appliance& appliance, const std::string& file);

// lvwParams for a "PR " node (the peripheral's parameters) or a "VW " node (those of the
// view's display records, each named "Device.Name").
std::vector<PaneRow> ParamRows(Appliance& appliance, const std::string& nodeKey);

// The key of a load image's row and its parts read back: the first "@", the first ":" behind
// it and the first ">" behind that. False for a key that isn't a load image's.
std::string LoadRowKey(const std::string& file, int32_t bank, int32_t address, int32_t offset);
struct LoadRowPlace {
    std::string File;
    int32_t Bank = 0, Address = 0, Offset = 0;
};
bool ReadLoadRowKey(const std::string& key, LoadRowPlace& place);

} // namespace bx
