# Shows the public headers' plain `//` comments to Doxygen as `///` ones, and a placeholder
# such as <identifier> in them as text rather than an HTML tag.
s,^([[:space:]]*)//( |$),\1///\2,
/^[[:space:]]*\/\/\//s,<([A-Za-z_][A-Za-z_ ]*)>,\\<\1\\>,g
