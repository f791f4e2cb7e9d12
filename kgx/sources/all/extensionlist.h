// Lists of extension names as drivers give them.
#ifndef KGX_EXTENSIONLIST_H_
#define KGX_EXTENSIONLIST_H_

namespace KGX {

// True if a list of names separated by blanks has this name as a whole word. A null list is an empty one.
bool HasExtension(const char* list, const char* name);

}  // namespace KGX

#endif  // KGX_EXTENSIONLIST_H_
