#!/bin/sh
# An ordinary user with everything below the own home: the kit, the terminal, the application.
#
#     below_home.sh BUILD_DIRECTORY
#
# The terminal's fixed paths lie below /home too, so this is where they could get into each other's
# way. /home is an empty file system of a private mount namespace, and the user is one whom the
# machine need not know; an ordinary user who runs the tests stays who he is.
set -eu

fail() {
  echo "below_home.sh: $*" >&2
  exit 1
}

# Waits until the command given succeeds.
await() {
  tries=0
  until "$@"; do
    tries=$((tries + 1))
    [ "$tries" -lt 400 ] || fail "not come true: $*"
    sleep 0.05
  done
}

enter_namespace() {
  if [ "$(id -u)" -eq 0 ]; then
    exec unshare --mount sh "$script" "$1" home
  fi
  exec unshare --user --map-current-user --keep-caps --mount sh "$script" "$1" home
}

make_home() {
  cd "$1" # seen as long as somebody stands there, also when it lies below /home
  mount -t tmpfs -o mode=0755 tmpfs /home
  mkdir -p /home/tester/kit/bin /home/tester/kit/lib /home/tester/shop
  cp bin/wz /home/tester/kit/bin
  cp -P lib/*.so* /home/tester/kit/lib
  cp "$script" /home/tester/test.sh
  cd /home/tester
  if [ "$(id -u)" -eq 0 ]; then
    chown -R 1234:1234 /home/tester
    exec setpriv --reuid 1234 --regid 1234 --clear-groups --inh-caps=-all --bounding-set=-all \
      env HOME=/home/tester sh /home/tester/test.sh - user
  fi
  exec setpriv --inh-caps=-all --ambient-caps=-all env HOME=/home/tester sh /home/tester/test.sh - user
}

write_application() {
  cat >shop/manifest.mft <<'END'
{"application": {"id": "shop", "version": "1.0.0"}, "desktop": {"file": "index.html"}}
END
  cat >shop/index.html <<'END'
<!DOCTYPE html><script>
(async () => {
  const {till, wz_terminalSerialNo: serial} = wz.properties;
  for (;;) {
    try {
      // Whoever is there answers, and only once; while nobody is, the call fails at once.
      const points = await wz.notifyAndWait('club', 'ASK', {}, {timeout: -1});
      return wz.exit(0, {said: `${till} ${serial} ${points}`});
    } catch (error) {
      if (error.code !== -11) return wz.exit(1);
    }
  }
})();
</script>
END
}

run_application() {
  wz=/home/tester/kit/bin/wz
  "$wz" terminal create desk --serial 20000000002 >create.txt || fail "no terminal"
  "$wz" reply --terminal desk club ASK 35 --count 1 --timeout 60 >reply.txt &
  reply=$!
  "$wz" run --terminal desk ./shop --headless --timeout 60 --param till=7 >run.txt ||
    fail "wz run failed: $(cat run.txt)"
  wait "$reply" || fail "wz reply failed"
}

check_outcome() {
  grep -q '^shop ended with result 0$' run.txt || fail "another end: $(cat run.txt)"
  grep -q '^  said = 7 20000000002 35$' run.txt || fail "other properties: $(cat run.txt)"
  grep -q '^_WZLog .*"EXIT"' run.txt || fail "no log record: $(cat run.txt)"
  [ -d desk/flash/etc/config/wzapp/fsroot/shop ] || fail "no file system of the application"
  [ "$(ls -d /home/*)" = /home/tester ] || fail "something else below /home: $(ls /home)"
  # The browser goes with wz; the bus is ended by whoever watches it, a moment later.
  [ -z "$(ls -d desk/run/browser-* 2>/dev/null)" ] || fail "left behind: $(ls desk/run)"
  await test ! -e desk/run/bus
}

script=$0
case ${2:-} in
'')
  case $0 in /*) ;; *) script=$PWD/$0 ;; esac
  enter_namespace "$1"
  ;;
home) make_home "$1" ;;
user)
  cd /home/tester
  write_application
  run_application
  check_outcome
  ;;
esac
