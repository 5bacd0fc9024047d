#!/usr/bin/env bash
# Starts (or stops) the loopback servers of the HTTP stream tests, each on a
# free port written to STATE/NAME.port:
#   http    tests/http/http_servers.py serving WWW (Content-Length, faults)
#   icecast Icecast2 with a source client looping WWW/live.mp3 at /live.mp3
#   proxy   tinyproxy asking for Basic credentials vexa:secret
#   closed  a port nothing listens on
#
#   servers.sh start STATE WWW     servers.sh stop STATE
# As root the servers run as nobody (Icecast refuses to run as root); they
# log to their standard error, kept in STATE/NAME.log.
set -euo pipefail
action=${1:?start or stop}
state=${2:?state folder}
here=$(cd "$(dirname "$0")" && pwd)
mkdir -p "$state"
state=$(cd "$state" && pwd)

free_port() { python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])'; }
listening() { python3 -c 'import socket, sys; socket.create_connection(("127.0.0.1", int(sys.argv[1])), 0.2)' "$1" 2>/dev/null; }
wait_for() {  # NAME PORT: up to 10 s
    for _ in $(seq 1 200); do listening "$2" && return 0; sleep 0.05; done
    echo "$1 did not start; its log:" >&2; cat "$state/$1.log" >&2 || true; return 1
}
background() {  # NAME COMMAND...: started in its own session, pid kept
    local name=$1; shift
    setsid "$@" >"$state/$name.log" 2>&1 </dev/null &
    echo $! >"$state/$name.pid"
}

if [[ $action == stop ]]; then
    pids=$(cat "$state"/*.pid 2>/dev/null) || exit 0
    rm -f "$state"/*.pid
    kill $pids 2>/dev/null || true
    sleep 0.5  # a graceful end first, then no choice
    kill -KILL $pids 2>/dev/null || true
    exit 0
fi
www=$(cd "${3:?www folder}" && pwd)
user=nobody group=nogroup

background http python3 "$here/http_servers.py" "$www"
for _ in $(seq 1 200); do [[ -s $state/http.log ]] && break; sleep 0.05; done
head -n 1 "$state/http.log" >"$state/http.port"
wait_for http "$(cat "$state/http.port")"

port=$(free_port)
cat >"$state/icecast.xml" <<XML
<icecast><location>loopback</location><admin>none@localhost</admin>
<limits><sources>2</sources><clients>20</clients><burst-on-connect>0</burst-on-connect></limits>
<authentication><source-password>vexasource</source-password><admin-password>vexaadmin</admin-password></authentication>
<listen-socket><port>$port</port><bind-address>127.0.0.1</bind-address></listen-socket>
<paths><basedir>/usr/share/icecast2</basedir><logdir>/tmp</logdir><webroot>/usr/share/icecast2/web</webroot>
<adminroot>/usr/share/icecast2/admin</adminroot></paths>
<logging><accesslog>-</accesslog><errorlog>-</errorlog><loglevel>2</loglevel></logging>
<security><chroot>0</chroot>$([[ $(id -u) -eq 0 ]] && echo "<changeowner><user>$user</user><group>$group</group></changeowner>")</security>
</icecast>
XML
background icecast icecast2 -c "$state/icecast.xml"
wait_for icecast "$port"
echo "$port" >"$state/icecast.port"
cat >"$state/ezstream.xml" <<XML
<ezstream><servers><server><hostname>127.0.0.1</hostname><port>$port</port><password>vexasource</password></server></servers>
<streams><stream><mountpoint>/live.mp3</mountpoint><format>MP3</format></stream></streams>
<intakes><intake><type>file</type><filename>$www/live.mp3</filename><stream_once>0</stream_once></intake></intakes></ezstream>
XML
chmod 600 "$state/ezstream.xml"
background ezstream ezstream -c "$state/ezstream.xml"
for _ in $(seq 1 100); do  # until the mount point carries the stream
    python3 -c 'import sys, urllib.request; urllib.request.urlopen(sys.argv[1], timeout=1).read(1)' \
        "http://127.0.0.1:$port/live.mp3" 2>/dev/null && break
    sleep 0.1
done

port=$(free_port)
cat >"$state/tinyproxy.conf" <<CONF
Port $port
Listen 127.0.0.1
Timeout 30
MaxClients 20
Allow 127.0.0.1
BasicAuth vexa secret
$([[ $(id -u) -eq 0 ]] && printf 'User %s\nGroup %s\n' $user $group)
CONF
background proxy tinyproxy -d -c "$state/tinyproxy.conf"
wait_for proxy "$port"
echo "$port" >"$state/proxy.port"
free_port >"$state/closed.port"
