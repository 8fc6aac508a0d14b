# Install rules are added here.
