# Sourced: the helpers' directory in /tmp, which is one for all users of the machine.
runtime_directory=/tmp/velix_bacnet

# Ends the script, before it has done anything, where the directory belongs to somebody else. One that was not there goes
# again when the script ends, unless something is in it.
use_runtime_directory() {
  leave_runtime_directory() { :; }
  if [ ! -e "$runtime_directory" ]; then
    leave_runtime_directory() { rmdir "$runtime_directory" 2>/dev/null || true; }
  elif [ ! -w "$runtime_directory" ]; then
    local owner
    owner=$(stat -c %U "$runtime_directory")
    echo "$runtime_directory belongs to $owner, so no helper of yours can run: work as $owner, or have it removed when" \
      "no helper of $owner's runs any more (as $owner: rm -r $runtime_directory)" >&2
    exit 1
  fi
  trap leave_runtime_directory EXIT
}
