/* A DLL of nothing: what documents are added to as resources. */
