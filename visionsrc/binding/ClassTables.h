// What the plug-in offers the host's interpreter. A class joins by adding
// its table to TIRN_CLASS_TABLES (the host learns the classes in this order)
// and defining the table beside its wrappers; a free function by adding its
// lines to TIRN_FUNCTION_LINES.
#ifndef CLASSTABLES_H
#define CLASSTABLES_H

#define TIRN_CLASS_TABLES(X) X(CImage_c)

// Lines of FUNCTIONS_tirnvision before its terminating null, each followed by
// a comma. None yet.
#define TIRN_FUNCTION_LINES

// A class table: a marker line ("Prefix_:"), then prototypes and further
// markers, then a null.
#define TIRN_DECLARE_CLASS_TABLE(table) extern const char* const table[];
TIRN_CLASS_TABLES(TIRN_DECLARE_CLASS_TABLE)
#undef TIRN_DECLARE_CLASS_TABLE

#endif
