#!/bin/sh
# SPDX-License-Identifier: ISC
# The metrics at /cgi-bin/kelvantorium-metrics. The router's web server runs this as root, for
# everybody: so it asks nobody and does nothing but show the lines that the service has written, as
# long as they are metrics of the modem, whatever the service's user has made of that file.

file=/var/run/kelvantorium-metrics/kelvantorium.prom

if [ "$(uci -q get kelvantorium-metrics.service.web)" = 1 ] && [ -r "$file" ]; then
	printf 'Content-Type: text/plain; version=0.0.4\r\nCache-Control: no-store\r\n'
	# A quarter of the octets, on a link where each may cost.
	pack='cat'
	case ${HTTP_ACCEPT_ENCODING:-} in
	*gzip*) ! command -v gzip >/dev/null || pack='gzip' ;;
	esac
	[ "$pack" = cat ] || printf 'Content-Encoding: gzip\r\n'
	printf '\r\n'
	LC_ALL=C awk '/^(# (HELP|TYPE) )?kelvantorium_/' "$file" | "$pack"
else
	printf 'Status: 404 Not Found\r\nContent-Type: text/plain\r\n\r\nswitched off\n'
fi
