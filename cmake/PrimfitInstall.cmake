# Install rules come with the package files.
