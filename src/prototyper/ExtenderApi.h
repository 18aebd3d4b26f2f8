/* The interface of a Tessarine Studio extender plug-in: a shared library in the program's
 * "PlugIns" folder that adds its tools to the studio's extender toolbar. Plain C, so that a
 * plug-in can be written in any language that makes a C shared library; docs/plugins.md tells
 * how the studio finds the library and calls it.
 *
 * The library exports one function, named by TESSARINE_EXTENDER_ENTRY, of the type
 * TessarineExtenderEntry. The studio calls it once, when it starts, with the class part of
 * the extender's programmatic name ("PortalExtender" of "SarnovaExtender.PortalExtender") and
 * the folder the library lies in; it answers with its table of the four operations, or NULL
 * when it has no such class. The studio calls the operations on its user-interface thread,
 * one at a time. Texts are UTF-8; paths are in the operating system's form. */
#ifndef TESSARINE_EXTENDER_API_H
#define TESSARINE_EXTENDER_API_H

#ifdef __cplusplus
extern "C" {
#endif

#define TESSARINE_EXTENDER_VERSION 1
#define TESSARINE_EXTENDER_ENTRY "tessarine_extender"

typedef struct TessarineExtender {
    /* TESSARINE_EXTENDER_VERSION of the header the plug-in was built with. */
    int Version;
    /* How many tools (toolbar buttons) the plug-in offers; a negative count is an error. */
    int (*FunctionCount)(void);
    /* The path of the picture of tool index (0 to count - 1), a file the studio can show
     * (PNG, BMP, SVG), written into buffer of size bytes with its final NUL. 0 on success;
     * any other value leaves that tool's button out. */
    int (*FunctionBitmap)(int index, char* buffer, int size);
    /* The tool's title, shown as the button's tip; the same rules as FunctionBitmap. */
    int (*FunctionTitle)(int index, char* buffer, int size);
    /* Runs tool index for the appliance whose folder (with a final separator) and title are
     * given. 0 when it did its work; the studio's status bar says whether it did. */
    int (*OnFunction)(int index, const char* folder, const char* title);
} TessarineExtender;

typedef const TessarineExtender* (*TessarineExtenderEntry)(const char* className,
                                                           const char* plugInFolder);

#ifdef __cplusplus
}
#endif

#endif /* TESSARINE_EXTENDER_API_H */
