// A header of the reader's own whose name looks like one of Qt's.
