# Filled with the install rules of header, library, tool and package files.
