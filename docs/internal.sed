# What stands first in a header is about the header, what stands above a declaration about that, and
# what stands behind one, too.
1s,^//+ ,/// \\file\n/// ,
s,^( *)// ,\1/// ,
s,^( *)//$,\1///,
/^#|^ *\}|\/\/\//! s,([^ ]) +// ,\1  ///< ,
